// Pieces shared by the units of VideoDB: the source name of its log lines and
// the small helpers that every statement of the class goes through.
#ifndef KINOLOT_DB_VIDEO_METADATA_DB_INTERNAL_H_
#define KINOLOT_DB_VIDEO_METADATA_DB_INTERNAL_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "foundation/heap_text.h"
#include "foundation/sql_text.h"
#include "kinolot/video_metadata_db.h"

namespace LibKinolot {

// The source name at the front of every log line of VideoDB.
constexpr char kVideoMetadataDbSource[] = "video_metadata_db";

// Parses the decimal number at the front of `text` (leading blanks and a sign
// accepted, stopping at the first non-digit); 0 for null, empty or
// non-numeric text. Never throws.
int64_t ParseDecimal(const char* text);
inline int64_t ParseDecimal(const std::string& text) {
  return ParseDecimal(text.c_str());
}

// True for an optional minus sign followed by decimal digits only: the form
// of an id that a statement may hold unquoted.
bool IsDecimalId(const std::string& text);

// ParseDecimal clamped to the range of int, for values that end up in an
// integer placeholder or a "%d".
int ParseDecimalInt(const std::string& text);

// Frees the object's current result, so that the next statement can store
// its own; every statement of VideoDB starts with this.
void DropResult(VideoDB* db);

// Every statement of VideoDB runs through one of these. Each first frees the
// object's current result, then runs `sql`, storing its result as the
// object's current one when `keep` is set. Failures are logged and return
// false: a statement the database refuses as "<label> = <sql>" (leaving no
// result); a text that ran out of memory as "Out of memory", and one that
// the formatter could not produce as "Failed to format [<format>] [<error>]",
// neither of them ever run.
bool RunStatement(VideoDB* db, const char* sql, const char* label, bool keep);
bool RunStatement(VideoDB* db, const SqlText& sql, const char* label, bool keep);
bool RunStatement(VideoDB* db, const HeapText& sql, const char* format, const char* label,
                  bool keep);

}  // namespace LibKinolot

#endif  // KINOLOT_DB_VIDEO_METADATA_DB_INTERNAL_H_
