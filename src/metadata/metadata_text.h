// Small pieces shared by the units of VideoMetadataAPI: look-ups in the
// process-wide table maps that never insert, checks and conversions of the
// texts that callers send, and the escaping of values on their way into SQL.
#ifndef KINOLOT_METADATA_METADATA_TEXT_H_
#define KINOLOT_METADATA_METADATA_TEXT_H_

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "foundation/field_text.h"
#include "foundation/sql_text.h"
#include "kinolot/platform/vexo_db.h"

namespace LibKinolot {

// The table name of a table type from gMappingTable, or "" when it has none.
// Unlike the map's subscript, an absent key is not inserted, so types sent by
// callers cannot grow the process-wide map.
std::string MetadataTableName(unsigned int type);
// The answer's array key of a video table type from gMappingKeyName, or "".
std::string MetadataKeyName(unsigned int type);

// True when `text` is one or more decimal digits and nothing else, whose
// value fits a 32-bit id (at most 2147483647). Ids and years that reach SQL
// without quoting are checked with this first.
bool IsDecimalText(const std::string& text);

// The leading decimal number of a season, episode or year text, 0 when it
// has none.
int32_t DecimalValue(const std::string& text);

// The year that a release date text gives as parseYearDate reads it (0 when
// it has none).
int YearOfDate(const char* date);

// An identifier of a row as the wire format writes it: the unsigned decimal
// text of its 32 bits.
std::string IdText(int32_t id);

// The text of a JSON value that has one (strings, numbers, booleans, null as
// ""); "" for arrays and objects, whose asString() would throw.
std::string JsonText(const Json::Value& value);

// True when `value` has the member `key`; false for every value that is not
// an object (isMember() on arrays and scalars would throw).
bool JsonHasMember(const Json::Value& value, const char* key);

// True when Json::Value::append may be called on `value` (null or array).
bool JsonCanAppend(const Json::Value& value);

// Escapes `text` for use inside a quoted LIKE pattern ("@VEXO:LVAR") or a
// quoted literal ("@VEXO:VAR") by the rules of `connection`'s database kind.
// False, leaving `out` alone, when the formatter fails (also for a null
// connection).
bool EscapeLikeText(DBConnect_tag* connection, const std::string& text, std::string& out);
bool EscapeQuotedText(DBConnect_tag* connection, const std::string& text, std::string& out);

// Replaces `answer` by a paged answer: {"total": total, "offset": offset,
// <arrayKey>: items}.
void WritePagedAnswer(Json::Value& answer, const std::string& arrayKey, unsigned long total,
                      unsigned long offset, const Json::Value& items);

// printf into a std::string of whatever length the result needs.
std::string StringFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace LibKinolot

#endif  // KINOLOT_METADATA_METADATA_TEXT_H_
