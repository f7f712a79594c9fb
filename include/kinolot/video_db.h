// The process-wide database connection of the indexing interface and its
// simple queries: select rows of one table (or of a free list of tables) into
// a handle, count rows, test whether a mapper id occurs in a table, vacuum,
// and close the connection.
//
// The connection is opened on first use, with user "admin" and database
// "video_metadata" on the server that libpq's defaults name (PGHOST/PGPORT),
// and kept until VideoDBConnClose. A failed connect is retried by the next
// call that needs the connection. Nothing here is locked: use the indexing
// interface from one thread at a time. Failures are written to syslog (source
// name "video_db", priority 3) and returned as null or -1.
#ifndef KINOLOT_VIDEO_DB_H_
#define KINOLOT_VIDEO_DB_H_

#include <cstdint>

#include "kinolot/export.h"
#include "kinolot/platform/vexo_db.h"
#include "kinolot/video_types.h"

namespace LibKinolot {

// The handle of an open SELECT. Read its rows with VEXODBFetchRow into `row`
// and VEXODBFetchField on `result`; release it with VideoDBHandlerFree.
struct _VIDEO_DB_HANDLER_ {
  DBConnect_tag* connection;      // the shared connection; borrowed, never closed here
  DBResult_tag* result;           // owned by the handle
  uint32_t row;                   // the current row, written by each VEXODBFetchRow
  int32_t row_count;              // number of rows of the result
  _VIDEO_TABLE_TYPE_ table_type;  // the table VideoDBOpen read; 0 for VideoDBOpenEX
};

// Runs "SELECT select FROM table [WHERE where] [GROUP BY groupBy] [ORDER BY
// orderBy]" on the shared connection, keeping at most `limit` rows from row
// `offset` on (0 or -1: no limit, no offset). A null `select` means "*"; null
// or empty clauses are left out, except that an empty but non-null `where`
// leaves a bare WHERE and the statement fails. The statement must fit 512
// bytes plus the length of `where`; a longer one is refused, not cut. Returns
// a new handle that the caller releases with VideoDBHandlerFree, or null on
// failure.
KINOLOT_EXPORT _VIDEO_DB_HANDLER_* VideoDBOpen(_VIDEO_TABLE_TYPE_ table, const char* select,
                                               const char* where, const char* groupBy,
                                               const char* orderBy, int offset, int limit);

// As VideoDBOpen, with a free FROM list such as "tvshow,tvshow_episode", and
// room for 1024 bytes plus the length of `where`. A null `fromTables` returns
// null.
KINOLOT_EXPORT _VIDEO_DB_HANDLER_* VideoDBOpenEX(const char* fromTables, const char* select,
                                                 const char* where, const char* groupBy,
                                                 const char* orderBy, int offset, int limit);

// Frees the handle's result and the handle; null is ignored.
KINOLOT_EXPORT void VideoDBHandlerFree(_VIDEO_DB_HANDLER_* handle);

// Returns the number of rows of "SELECT select FROM table WHERE where GROUP BY
// groupBy" (with a GROUP BY, the number of groups), or -1 on failure and for a
// null or empty `select`. `where` and `groupBy` may be null.
KINOLOT_EXPORT int VideoDBGetCount(_VIDEO_TABLE_TYPE_ table, const char* select, const char* where,
                                   const char* groupBy);

// Returns whether some row of `table` has this mapper id. A failed count
// reads as absent.
KINOLOT_EXPORT bool IsMapperIdExistInTable(int mapperId, _VIDEO_TABLE_TYPE_ table);

// Runs "VACUUM FULL ANALYZE" on the shared connection. Returns 0, or -1.
KINOLOT_EXPORT int VideoDBVacuum();

// Closes the shared connection if one is open; the next call that needs it
// connects again. Returns the close's result, or 0 when none was open.
KINOLOT_EXPORT int VideoDBConnClose();

}  // namespace LibKinolot

#endif  // KINOLOT_VIDEO_DB_H_
