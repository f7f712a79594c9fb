// Database access of the platform: connections, statements, result rows and
// the placeholder formatter that makes values safe inside SQL text.
//
// This is the floor that every SQL statement of Kinolot goes through. It is
// implemented on libpq and reaches one kind of database, PostgreSQL, whose
// kind code is 1. Which server a connection reaches is libpq's own business:
// a null host means libpq's defaults and its usual PGHOST/PGPORT environment.
//
// Every connection opened here is pinned to standard_conforming_strings=on
// and the UTF8 client encoding, so that inside a single-quoted literal a
// backslash is an ordinary character and only the quote needs doubling. The
// formatter escapes by exactly that rule, so its output is correct for every
// connection this layer hands out, whatever the server's own default is.
//
// Handles are opaque. A connection is owned by whoever opened it and released
// with VEXODBClose; a result is owned by whoever received it through an out
// argument and released with VEXODBFreeResult. Heap text returned by the
// formatter functions is owned by the caller and released with free().
// Nothing here throws; failures are reported by return value.
//
// Connections are reused. VEXODBClose gives a connection back to a pool of
// idle connections of the process, and VEXODBConnect hands out one of them
// when it reaches the same server, user and database (libpq's environment
// counted), so that a program opening and closing connections per call pays
// for a new server session only once. The pool is safe from several threads
// and keeps at most 8 idle connections; a connection given back inside a
// transaction, after a failed statement, after a statement that changed the
// session's settings (SET, PREPARE, LISTEN, CREATE ...), broken, or in a
// process other than the one that opened it is closed instead. A forked child
// never uses a connection of its parent's pool. The environment variable
// KINOLOT_DB_REUSE sets the number of idle connections kept; 0 turns reuse
// off, so that every VEXODBConnect opens a session and every VEXODBClose ends
// it. It is read on every connect and close.
//
// Broken connections are repaired before use. Before a statement is sent,
// the connection is checked: when the server has closed it (a restart, say)
// or it was inherited from a parent process, it is reopened with the same
// settings and the statement goes to the new session. A statement that was
// sent is never sent again: when the connection breaks while it runs, it
// fails. A connection that breaks inside a transaction is not reopened
// behind the transaction's back: every statement fails until the owner ends
// the transaction; COMMIT then fails too, ROLLBACK succeeds, and the
// connection is reopened.
#ifndef KINOLOT_PLATFORM_VEXO_DB_H_
#define KINOLOT_PLATFORM_VEXO_DB_H_

#include <cstddef>

#include "kinolot/export.h"

namespace LibKinolot {

// An open database connection.
struct DBConnect_tag;
// The result set of one executed statement, with a cursor over its rows.
struct DBResult_tag;

// The kind code of PostgreSQL, the only database kind this platform serves.
constexpr int kVexoDBKindPostgreSQL = 1;

// Opens a connection, or takes an idle one to the same server from the pool.
// Any argument may be null, which leaves that setting to libpq's defaults.
// Returns a connection that the caller owns, or null on failure; the server
// that was tried and libpq's reason are then available through
// VEXODBErrorGet(nullptr).
KINOLOT_EXPORT DBConnect_tag* VEXODBConnect(const char* host, const char* user,
                                            const char* password, const char* database);

// Gives `connection` back to the pool, or closes it when the pool does not
// keep it (see above); the handle is the caller's no longer. Returns 0, or -1
// when `connection` is null.
KINOLOT_EXPORT int VEXODBClose(DBConnect_tag* connection);

// Returns the database kind of `connection` (1 for PostgreSQL), or -1 for a
// null connection, which no formatter accepts.
KINOLOT_EXPORT int VEXODBDatabaseTypeGet(DBConnect_tag* connection);

// Runs one SQL statement. On success returns 0 and stores the result through
// `result` (the caller frees it); on failure returns -1, stores null and keeps
// the server's error text for VEXODBErrorGet. `result` may be null when the
// caller does not want the rows. A COMMIT that the server answers by rolling
// the transaction back, because a statement in it failed, is a failure.
KINOLOT_EXPORT int VEXODBExecute(DBConnect_tag* connection, const char* sql, DBResult_tag** result);

// Runs a SELECT and keeps at most `limit` rows starting at row `offset`; a
// limit or offset of 0 or less means none. Results and failures as for
// VEXODBExecute.
KINOLOT_EXPORT int VEXODBSelectLimit(DBConnect_tag* connection, const char* sql, int limit,
                                     int offset, DBResult_tag** result);

// Returns the number of rows of `result`, 0 for a null result or a statement
// without rows.
KINOLOT_EXPORT int VEXODBNumRows(DBResult_tag* result);

// Returns the number of rows the statement of `result` affected (0 for
// statements that report none), or -1 when either argument is null.
KINOLOT_EXPORT int VEXODBAffectedRows(DBConnect_tag* connection, DBResult_tag* result);

// Advances the cursor of `result`: returns 0 and stores the index of the next
// row through `row`, or -1 when no row is left or an argument is null.
KINOLOT_EXPORT int VEXODBFetchRow(DBResult_tag* result, unsigned int* row);

// Returns the text of column `column` in row `row`, owned by the result and
// valid until it is freed. Column names are matched exactly as the database
// prints them (lower case for unquoted names). Returns null for SQL NULL, for a
// column the result does not have, for a row out of range and for null
// arguments.
KINOLOT_EXPORT const char* VEXODBFetchField(DBResult_tag* result, unsigned int row,
                                            const char* column);

// Releases `result`; null is ignored.
KINOLOT_EXPORT void VEXODBFreeResult(DBResult_tag* result);

// Returns the text of the last error on `connection`, or of the last failed
// connect on the calling thread when `connection` is null. Never returns null.
// The text is owned by the connection (or by the library) and valid until the
// next call on it.
KINOLOT_EXPORT const char* VEXODBErrorGet(DBConnect_tag* connection);

// The placeholder formatter. Returns `format` with each placeholder replaced
// by the next variadic argument, in a new heap string that the caller frees
// with free(); returns null on failure (unknown database kind, null format,
// null text argument, unknown placeholder, out of memory), setting the code
// that VLIBCErrGet reports. Placeholders and the argument each consumes:
//   @VEXO:VAR    const char*  text with quotes doubled, no quotes added
//   @VEXO:INT    int          decimal number
//   @VEXO:LLINT  long long    decimal number
//   @VEXO:NEVAR  const char*  text inserted verbatim (a pre-quoted value or NULL)
//   @VEXO:LVAR   const char*  text escaped for a LIKE pattern: backslash,
//                             percent and underscore prefixed with a backslash
//                             (LIKE's escape character), quotes doubled
// A placeholder may be followed directly by any text ("@VEXO:VAR_@VEXO:VAR").
// A format without placeholders yields a heap copy of itself.
KINOLOT_EXPORT char* VEXODBEscapeStringEX3(int databaseKind, const char* format, ...);

// Returns `text` escaped for use between single quotes, in a new heap string
// that the caller frees with free(); null when `text` is null or memory runs
// out.
KINOLOT_EXPORT char* VEXODBEscapeStrAlloc(const char* text);

// Writes `condition`, a WHERE expression, into `out` in its safe form and
// returns its length; the caller sizes `out` at twice the condition's length
// plus one. The safe form is the condition itself once it is known to be one
// expression: a condition whose string literals or quoted names are not
// closed, or that holds a statement separator, a comment or a dollar sign
// outside them, is refused; so is an E'...' literal holding a backslash, whose
// end depends on how the server reads the letter before it.
// Returns a negative number on refusal, on an unknown database kind and on
// null arguments; `out` is then an empty text when it is not null.
KINOLOT_EXPORT int EscapeConditionEX2(int databaseKind, const char* condition, char* out);

// The number of statements and connects that failed on the calling thread
// since the thread started: a statement the server refused or did not answer
// (a timeout, a broken or lost connection) and a connect that found no
// server. Never fails; only the calling thread's own failures count.
//
// The library's read calls (GetInfo, List, Search, CategoryBrowse and the
// collection listings) keep their contract of answering with what they could
// read: a piece whose statement failed is left out, and GetInfo still returns
// true. A caller that must tell a complete answer from one missing pieces
// reads this count before and after the call; when it grew, some statement of
// that call failed and its answer is not to be trusted.
KINOLOT_EXPORT unsigned long VEXODBFailuresGet();

// What this layer has done since the process started or since the last
// reset; benchmarks read it to count what an operation costs.
struct VEXODBCounters {
  unsigned long connects;    // server sessions opened, reopened ones included
  unsigned long reused;      // connections handed out from the pool
  unsigned long statements;  // statements sent to a server
  unsigned long rows;        // rows received in results
};

// Returns the counters. Never fails.
KINOLOT_EXPORT VEXODBCounters VEXODBCountersGet();

// Sets every counter to zero.
KINOLOT_EXPORT void VEXODBCountersReset();

// Called with every statement just before it is sent, on the thread sending
// it; `sql` is valid during the call only.
using VEXODBStatementHook = void (*)(void* context, const char* sql);

// Installs `hook` (null removes it) with the `context` it is called with.
// Benchmarks record what an operation sends this way. Install it while no
// other thread runs statements.
KINOLOT_EXPORT void VEXODBStatementHookSet(VEXODBStatementHook hook, void* context);

}  // namespace LibKinolot

#endif  // KINOLOT_PLATFORM_VEXO_DB_H_
