// Shared pieces of the indexing interface; see video_info_common.h.
#include "db/video_info_common.h"

#include <cstdlib>
#include <cstring>

#include "foundation/heap_text.h"
#include "kinolot/platform/vlib_c.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

// The length of `text` read no further than `limit` bytes, shortened so
// that it ends after a whole UTF-8 letter: a lead byte whose continuation
// bytes lie beyond the cut goes too. Only bytes before the cut are read, so a
// field filled to its last byte without terminator is never overrun.
size_t LetterCut(const char* text, size_t limit) {
  size_t length = strnlen(text, limit);
  size_t start = length;
  while (start > 0 && length - start < 4 &&
         (static_cast<unsigned char>(text[start - 1]) & 0xC0) == 0x80) {
    --start;
  }
  if (start == 0) return length;
  unsigned char lead = static_cast<unsigned char>(text[start - 1]);
  size_t need = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
  return length - (start - 1) < need ? start - 1 : length;
}

}  // namespace

void CopyText(char* out, size_t capacity, const char* text) {
  if (out == nullptr || capacity == 0) return;
  size_t length = text == nullptr ? 0 : LetterCut(text, capacity - 1);
  if (length > 0) memmove(out, text, length);
  out[length] = '\0';
}

std::string FieldText(const char* field, size_t capacity) {
  if (field == nullptr || capacity == 0) return std::string();
  return std::string(field, LetterCut(field, capacity - 1));
}

void TerminateField(char* field, size_t capacity) {
  if (capacity == 0 || strnlen(field, capacity) < capacity) return;
  field[LetterCut(field, capacity - 1)] = '\0';
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

DBConnect_tag* ConnectionOrLog(int line) {
  DBConnect_tag* connection = VideoDBConnGet();
  if (connection == nullptr) {
    LogError("%s:%d Failed to connect to database", kVideoDbSource, line);
  }
  return connection;
}

void LogFormatFailure(int line) {
  LogError("%s:%d Failed to VLIBCStrGetEx()[0x%04X]", kVideoDbSource, line, VLIBCErrGet());
}

int ReturnedId(DBConnect_tag* connection, const char* sql, int line, const char* noIdFormat) {
  ResultOwner result;
  if (VEXODBSelectLimit(connection, sql, -1, -1, result.out()) == -1) {
    LogError("%s:%d Failed to exec [%s] (%s)", kVideoDbSource, line, sql,
             VEXODBErrorGet(connection));
    return -1;
  }
  unsigned int row = 0;
  if (VEXODBFetchRow(result.get(), &row) != 0) {
    LogError("%s:%d VEXODBFetchRow failed", kVideoDbSource, line);
    return -1;
  }
  const char* id = VEXODBFetchField(result.get(), row, "id");
  if (id == nullptr) {
    if (noIdFormat != nullptr) LogError(noIdFormat, kVideoDbSource, line);
    return -1;
  }
  return atoi(id);
}

HandlerOwner SelectById(const char* tables, const char* columns, const char* format, int id,
                        const char* orderBy, int line) {
  HeapText condition(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, id));
  if (!condition) {
    LogFormatFailure(line);
    return HandlerOwner();
  }
  return HandlerOwner(VideoDBOpenEX(tables, columns, condition.get(), nullptr, orderBy, 0, 0));
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
