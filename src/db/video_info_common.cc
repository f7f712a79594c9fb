// Shared pieces of the indexing interface; see video_info_common.h.
#include "db/video_info_common.h"

#include <cstdlib>
#include <cstring>

#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

// The length of `text` cut to at most `limit` bytes without splitting a
// UTF-8 letter: a cut never leaves a lead byte without its continuation.
size_t LetterBoundary(const char* text, size_t length, size_t limit) {
  if (length <= limit) return length;
  size_t cut = limit;
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
  return cut;
}

}  // namespace

void CopyText(char* out, size_t capacity, const char* text) {
  if (out == nullptr || capacity == 0) return;
  if (text == nullptr) {
    out[0] = '\0';
    return;
  }
  size_t length = LetterBoundary(text, strlen(text), capacity - 1);
  memmove(out, text, length);
  out[length] = '\0';
}

std::string FieldText(const char* field, size_t capacity) {
  if (field == nullptr || capacity == 0) return std::string();
  size_t length = strnlen(field, capacity);
  return std::string(field, LetterBoundary(field, length, capacity - 1));
}

void TerminateField(char* field, size_t capacity) {
  if (capacity == 0 || strnlen(field, capacity) < capacity) return;
  field[LetterBoundary(field, capacity, capacity - 1)] = '\0';
}

bool IsWellFormedDate(const char (&date)[32]) {
  size_t length = strnlen(date, sizeof(date));
  if (length == 0 || length > 29) return false;
  return strspn(date, "0123456789-:. T+") == length;
}

std::string QuotedDate(const char (&date)[32]) {
  if (date[0] == '\0' || !IsWellFormedDate(date)) return "NULL";
  return "'" + std::string(date) + "'";
}

void SetFileRecord(_VIDEO_INFO_* record, const char* path) {
  record->Clear();
  record->type = VIDEO_TYPE_VIDEO_FILE;
  CopyText(record->path, path);
}

int FileMapperId(const char* path) {
  _VIDEO_INFO_ record;
  SetFileRecord(&record, path);
  return VideoInfoMapperIDGet(VIDEO_TABLE_VIDEO_FILE, &record);
}

bool ExecLogged(DBConnect_tag* connection, const char* sql, int line) {
  ResultOwner result;
  if (VEXODBExecute(connection, sql, result.out()) == -1) {
    LogError("%s:%d Failed to exec [%s] (%s)", kVideoDbSource, line, sql,
             VEXODBErrorGet(connection));
    return false;
  }
  return true;
}

std::string RowText(_VIDEO_DB_HANDLER_* handle, const char* column) {
  const char* value = VEXODBFetchField(handle->result, handle->row, column);
  return value ? std::string(value) : std::string();
}

long long RowNumber(_VIDEO_DB_HANDLER_* handle, const char* column) {
  const char* value = VEXODBFetchField(handle->result, handle->row, column);
  return value ? strtoll(value, nullptr, 10) : 0;
}

}  // namespace LibKinolot
