// Small pieces shared by the units of the indexing interface: the pre-quoted
// form of an optional date, the file record that looks a path up, owners of results and
// handles, and the guard that keeps exceptions inside the library.
#ifndef KINOLOT_DB_VIDEO_INFO_COMMON_H_
#define KINOLOT_DB_VIDEO_INFO_COMMON_H_

#include <cstddef>
#include <exception>
#include <memory>
#include <string>

#include "db/video_db_connection.h"
#include "foundation/field_text.h"
#include "foundation/heap_text.h"
#include "foundation/log.h"
#include "kinolot/video_db.h"
#include "kinolot/video_info.h"

namespace LibKinolot {

// Whether `date` (a field of 32 bytes) can be stored: empty, all zeros (no
// date) or a calendar date the server takes as it is (DateFormOf). Such a
// text can be put between quotes into SQL as it is.
bool IsStorableDate(const char (&date)[32]);

// The value for an "@VEXO:NEVAR" date placeholder: the date between single
// quotes, or NULL when it holds no date. A text that is not valid also gives
// NULL, so that it can never become SQL; the public entry points refuse
// such records before they get here.
std::string QuotedDate(const char (&date)[32]);

// Makes `record` the video-file record that looks `path` up: type 6, every
// other field cleared, the path copied bounded by its capacity (null reads
// as "").
void SetFileRecord(_VIDEO_INFO_* record, const char* path);

// Whether `path` is not null and fits a path field with its terminator
// (at most 4095 bytes). Nothing keyed by a path works on a longer one: cut
// to the field, it could name another file.
bool PathFits(const char* path);

// The mapper id that the file row of `path` points at, or -1 (also for a
// path that does not fit).
int FileMapperId(const char* path);

// Owns one result of the platform and frees it when it goes.
class ResultOwner {
 public:
  ResultOwner() = default;
  ~ResultOwner() { VEXODBFreeResult(result_); }
  ResultOwner(const ResultOwner&) = delete;
  ResultOwner& operator=(const ResultOwner&) = delete;
  DBResult_tag** out() { return &result_; }
  DBResult_tag* get() const { return result_; }

 private:
  DBResult_tag* result_ = nullptr;
};

struct HandlerDeleter {
  void operator()(_VIDEO_DB_HANDLER_* handle) const { VideoDBHandlerFree(handle); }
};
// A result handle of VideoDBOpenEX with exactly one owner.
using HandlerOwner = std::unique_ptr<_VIDEO_DB_HANDLER_, HandlerDeleter>;

// The text of `column` in the handle's current row, "" for NULL.
std::string RowText(_VIDEO_DB_HANDLER_* handle, const char* column);
// The integer in `column` of the handle's current row, 0 for NULL or no number.
long long RowNumber(_VIDEO_DB_HANDLER_* handle, const char* column);

// The shared connection, or null after logging (with the caller's `line`)
// that there is none.
DBConnect_tag* ConnectionOrLog(int line);

// Logs that the placeholder formatter failed, with the platform's last error
// code and the caller's `line`.
void LogFormatFailure(int line);

// Runs the statement `sql` on `connection`; a failure is logged with the
// SQL, the server's error text and the caller's `line`, and gives false.
bool ExecLogged(DBConnect_tag* connection, const char* sql, int line);

// Runs `format` filled by the placeholder formatter with `args` on
// `connection`. False after logging, with the caller's `line`, when the
// formatter or the statement fails.
template <typename... Args>
bool ExecFormatted(DBConnect_tag* connection, int line, const char* format, Args... args) {
  HeapText sql(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, args...));
  if (!sql) {
    LogFormatFailure(line);
    return false;
  }
  return ExecLogged(connection, sql.get(), line);
}

// Runs `sql`, a statement ending in "RETURNING id", and gives the returned
// id. A failed statement and a missing row are logged with the caller's
// `line`; a row without id gives -1, after logging `noIdFormat` ("%s:%d ...")
// when one is given.
int ReturnedId(DBConnect_tag* connection, const char* sql, int line,
               const char* noIdFormat = nullptr);

// Opens "SELECT columns FROM tables WHERE condition ORDER BY orderBy" (no
// order when null), the condition being `format` with its one "@VEXO:INT"
// filled with `id`. Null when the select fails, or when the formatter does,
// which is logged with the caller's `line`.
HandlerOwner SelectById(const char* tables, const char* columns, const char* format, int id,
                        const char* orderBy, int line);

// Runs `body` and turns an exception escaping it (memory exhausted in a
// string or list) into a log line and `failure`.
template <typename Result, typename Body>
Result NoThrow(Result failure, int line, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    LogError("%s:%d Aborted: %s", kVideoDbSource, line, e.what());
  } catch (...) {
    LogError("%s:%d Aborted", kVideoDbSource, line);
  }
  return failure;
}

}  // namespace LibKinolot

#endif  // KINOLOT_DB_VIDEO_INFO_COMMON_H_
