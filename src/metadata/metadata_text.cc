// Shared helpers of the metadata API; see metadata_text.h.
#include "metadata/metadata_text.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "foundation/heap_text.h"
#include "kinolot/mapping_tables.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

bool Escape(DBConnect_tag* connection, const char* format, const std::string& text,
            std::string& out) {
  HeapText escaped(VEXODBEscapeStringEX3(VEXODBDatabaseTypeGet(connection), format, text.c_str()));
  if (!escaped) return false;
  out = escaped.get();
  return true;
}

}  // namespace

std::string MetadataTableName(unsigned int type) {
  auto found = gMappingTable.find(type);
  return found == gMappingTable.end() ? std::string() : found->second;
}

std::string MetadataKeyName(unsigned int type) {
  auto found = gMappingKeyName.find(type);
  return found == gMappingKeyName.end() ? std::string() : found->second;
}

bool IsDecimalText(const std::string& text) {
  if (text.empty()) return false;
  int64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
    // Ids are 32-bit integers; a larger number would be clamped on its way
    // into some statements and name another row.
    if (value > INT32_MAX) return false;
  }
  return true;
}

int32_t DecimalValue(const std::string& text) {
  return static_cast<int32_t>(strtol(text.c_str(), nullptr, 10));
}

int YearOfDate(const char* date) {
  int year = 0;
  char odate[32] = {};
  char sortTime[32] = {};
  parseYearDate(&year, odate, sortTime, date);
  return year;
}

void WritePagedAnswer(Json::Value& answer, const std::string& arrayKey, unsigned long total,
                      unsigned long offset, const Json::Value& items) {
  answer = Json::Value(Json::objectValue);
  answer["total"] = static_cast<Json::UInt64>(total);
  answer["offset"] = static_cast<Json::UInt64>(offset);
  answer[arrayKey] = items;
}

std::string IdText(int32_t id) {
  char text[30];
  snprintf(text, sizeof(text), "%lu", static_cast<unsigned long>(static_cast<uint32_t>(id)));
  return text;
}

std::string JsonText(const Json::Value& value) {
  return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}

bool JsonHasMember(const Json::Value& value, const char* key) {
  return value.isObject() && value.isMember(key);
}

bool JsonCanAppend(const Json::Value& value) {
  return value.isNull() || value.isArray();
}

bool EscapeLikeText(DBConnect_tag* connection, const std::string& text, std::string& out) {
  return Escape(connection, "@VEXO:LVAR", text, out);
}

bool EscapeQuotedText(DBConnect_tag* connection, const std::string& text, std::string& out) {
  return Escape(connection, "@VEXO:VAR", text, out);
}

std::string StringFormat(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  int length = vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string out;
  if (length > 0) {
    out.resize(static_cast<size_t>(length) + 1);
    vsnprintf(&out[0], out.size(), format, again);
    out.resize(static_cast<size_t>(length));
  }
  va_end(again);
  return out;
}

}  // namespace LibKinolot
