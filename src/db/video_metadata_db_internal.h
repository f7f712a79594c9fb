// Pieces shared by the units of VideoDB: the source name of its log lines and
// the small helpers that every statement of the class goes through.
#ifndef KINOLOT_DB_VIDEO_METADATA_DB_INTERNAL_H_
#define KINOLOT_DB_VIDEO_METADATA_DB_INTERNAL_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "kinolot/video_metadata_db.h"

// libpq's growable text buffer is a C header without linkage guards, and it
// names a printf attribute macro that only the server's own headers define.
#ifndef pg_attribute_printf
#define pg_attribute_printf(f, a) __attribute__((format(printf, f, a)))
#endif
extern "C" {
#include <pqexpbuffer.h>
}

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

// One growable SQL text, released on every path.
class SqlText {
 public:
  SqlText() { initPQExpBuffer(&buffer_); }
  ~SqlText() { termPQExpBuffer(&buffer_); }
  SqlText(const SqlText&) = delete;
  SqlText& operator=(const SqlText&) = delete;

  PQExpBuffer get() { return &buffer_; }
  const char* text() const { return buffer_.data ? buffer_.data : ""; }
  // True when an allocation failed while the text was built.
  bool broken() const { return PQExpBufferBroken(&buffer_); }

 private:
  PQExpBufferData buffer_;
};

// Frees the object's current result, so that the next statement can store
// its own; every statement of VideoDB starts with this.
void DropResult(VideoDB* db);

}  // namespace LibKinolot

#endif  // KINOLOT_DB_VIDEO_METADATA_DB_INTERNAL_H_
