// Shared pieces of the indexing interface; see video_info_common.h.
#include "db/video_info_common.h"

#include <cstdlib>
#include <cstring>

#include "foundation/date_text.h"
#include "foundation/heap_text.h"
#include "kinolot/platform/vlib_c.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
bool IsStorableDate(const char (&date)[32]) {
  return DateFormOf(date, sizeof(date)) != DateForm::kBad;
}

std::string QuotedDate(const char (&date)[32]) {
  if (DateFormOf(date, sizeof(date)) != DateForm::kValid) return "NULL";
  return "'" + std::string(date) + "'";
}

void SetFileRecord(_VIDEO_INFO_* record, const char* path) {
  record->Clear();
  record->type = VIDEO_TYPE_VIDEO_FILE;
  CopyText(record->path, path);
}

bool PathFits(const char* path) {
  return path != nullptr && strnlen(path, sizeof(_VIDEO_INFO_::path)) < sizeof(_VIDEO_INFO_::path);
}

int FileMapperId(const char* path) {
  if (!PathFits(path)) return -1;
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
