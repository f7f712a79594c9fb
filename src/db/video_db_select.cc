// The simple queries of the indexing interface on the shared connection:
// handles over a SELECT, row counts, mapper-id tests and vacuuming.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "db/video_db_connection.h"
#include "foundation/heap_text.h"
#include "foundation/log.h"
#include "foundation/video_types.h"
#include "kinolot/video_db.h"

namespace LibKinolot {
namespace {

bool IsEmpty(const char* text) {
  return text == nullptr || text[0] == '\0';
}

// Formats "<keyword> <clause>" into a buffer of the clause's length plus 16,
// or gives an empty text for a null or empty clause. Null when memory runs out.
HeapText ClauseText(const char* keyword, const char* clause) {
  size_t size = IsEmpty(clause) ? 1 : strlen(clause) + 16;
  HeapText text = AllocText(size);
  if (text && !IsEmpty(clause)) snprintf(text.get(), size, "%s %s", keyword, clause);
  return text;
}

// What differs between VideoDBOpen and VideoDBOpenEX.
struct OpenFlavour {
  _VIDEO_TABLE_TYPE_ table_type;  // recorded in the handle
  size_t base_size;               // statement buffer size without the WHERE text
  const char* exec_failed;        // log format of a failed statement
};

_VIDEO_DB_HANDLER_* OpenSelect(const char* from, const char* select, const char* where,
                               const char* groupBy, const char* orderBy, int offset, int limit,
                               const OpenFlavour& flavour) {
  _VIDEO_DB_HANDLER_* handle =
      static_cast<_VIDEO_DB_HANDLER_*>(std::calloc(1, sizeof(_VIDEO_DB_HANDLER_)));
  if (handle == nullptr) {
    LogError("%s:%d Bad parameter", kVideoDbSource, __LINE__);
    return nullptr;
  }
  handle->connection = VideoDBConnGet();
  if (handle->connection == nullptr) {
    LogError("%s:%d Failed to connect to database", kVideoDbSource, __LINE__);
    VideoDBHandlerFree(handle);
    return nullptr;
  }

  size_t size = IsEmpty(where) ? flavour.base_size : strlen(where) + flavour.base_size;
  HeapText sql = AllocText(size);
  HeapText group = ClauseText("GROUP BY", groupBy);
  HeapText order = ClauseText("ORDER BY", orderBy);
  if (!sql || !group || !order) {
    LogError("%s (%d) Failed to malloc(%d)", kVideoDbSource, __LINE__, static_cast<int>(size));
    VideoDBHandlerFree(handle);
    return nullptr;
  }
  // A non-null but empty `where` leaves a bare WHERE behind: the statement
  // then fails in the database, which is how callers learn of the mistake.
  int length = snprintf(sql.get(), size, "SELECT %s FROM %s %s %s %s %s", select ? select : "*",
                        from, where ? "WHERE" : "", where ? where : "", group.get(), order.get());
  // The buffer leaves room for the condition; what does not fit is a select
  // list, table list or clause too long for it. Cut, the statement could lose
  // the end of its condition and read rows it was never meant to, so it is
  // not run.
  if (length < 0 || static_cast<size_t>(length) >= size) {
    LogError("%s:%d Statement too long [%s]", kVideoDbSource, __LINE__, sql.get());
    VideoDBHandlerFree(handle);
    return nullptr;
  }

  if (VEXODBSelectLimit(handle->connection, sql.get(), limit, offset, &handle->result) == -1) {
    LogError(flavour.exec_failed, kVideoDbSource, __LINE__, sql.get(),
             VEXODBErrorGet(handle->connection));
    VideoDBHandlerFree(handle);
    return nullptr;
  }
  handle->row_count = VEXODBNumRows(handle->result);
  handle->table_type = flavour.table_type;
  return handle;
}

}  // namespace

_VIDEO_DB_HANDLER_* VideoDBOpen(_VIDEO_TABLE_TYPE_ table, const char* select, const char* where,
                                const char* groupBy, const char* orderBy, int offset, int limit) {
  static const char kExecFailed[] = "%s (%d) Failed to exec [%s] (%s)";
  return OpenSelect(VideoTableTypeGetName(table), select, where, groupBy, orderBy, offset, limit,
                    OpenFlavour{table, 512, kExecFailed});
}

_VIDEO_DB_HANDLER_* VideoDBOpenEX(const char* fromTables, const char* select, const char* where,
                                  const char* groupBy, const char* orderBy, int offset, int limit) {
  static const char kExecFailed[] = "%s:%d Failed to exec [%s] (%s)";
  if (fromTables == nullptr) {
    LogError("%s:%d Bad parameter: szFromTables", kVideoDbSource, __LINE__);
    return nullptr;
  }
  return OpenSelect(fromTables, select, where, groupBy, orderBy, offset, limit,
                    OpenFlavour{VIDEO_TABLE_INVALID, 1024, kExecFailed});
}

void VideoDBHandlerFree(_VIDEO_DB_HANDLER_* handle) {
  if (handle == nullptr) return;
  VEXODBFreeResult(handle->result);
  std::free(handle);
}

int VideoDBGetCount(_VIDEO_TABLE_TYPE_ table, const char* select, const char* where,
                    const char* groupBy) {
  if (IsEmpty(select)) return -1;
  HeapText safeWhere;
  if (where != nullptr) {
    safeWhere = AllocText(2 * strlen(where) + 1);
    if (!safeWhere || EscapeConditionEX2(kVexoDBKindPostgreSQL, where, safeWhere.get()) < 0) {
      return -1;
    }
  }
  _VIDEO_DB_HANDLER_* handle =
      VideoDBOpen(table, select, safeWhere.get(), groupBy, nullptr, -1, -1);
  if (handle == nullptr) return -1;
  int count = handle->row_count;
  VideoDBHandlerFree(handle);
  return count;
}

bool IsMapperIdExistInTable(int mapperId, _VIDEO_TABLE_TYPE_ table) {
  char condition[4096];
  snprintf(condition, sizeof(condition), "mapper_id = %d", mapperId);
  return VideoDBGetCount(table, "id", condition, nullptr) > 0;
}

int VideoDBVacuum() {
  char sql[20];
  snprintf(sql, sizeof(sql), "%s", "VACUUM FULL ANALYZE");
  bool ok = false;
  DBConnect_tag* connection = VideoDBConnGet();
  if (connection == nullptr) {
    LogError("%s:%d Failed to connect to database", kVideoDbSource, __LINE__);
  } else {
    DBResult_tag* result = nullptr;
    if (VEXODBExecute(connection, sql, &result) == -1) {
      LogError("%s (%d) Failed to exec [%s] (%s)", kVideoDbSource, __LINE__, sql,
               VEXODBErrorGet(connection));
    } else {
      ok = VEXODBAffectedRows(connection, result) != -1;
    }
    VEXODBFreeResult(result);
  }
  if (!ok) {
    LogError("%s (%d) Failed to exec [%s].", kVideoDbSource, __LINE__, sql);
    return -1;
  }
  return 0;
}

}  // namespace LibKinolot
