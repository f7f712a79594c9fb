// Connections, statements and result rows of the platform's database access,
// on libpq. Every SQL statement the library sends goes through VEXODBExecute,
// and every connection it opens comes from VEXODBConnect, from the pool of
// idle connections when it holds one to the same server.
#include "kinolot/platform/vexo_db.h"

#include <libpq-fe.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "platform/db_handles.h"
#include "platform/db_pool.h"
#include "platform/db_session.h"

namespace LibKinolot {

namespace {

// Why the last VEXODBConnect on this thread failed. Per thread, so that the
// pointer VEXODBErrorGet(nullptr) hands out cannot be overwritten by another
// thread's failure while the caller reads it.
thread_local std::string t_connect_error;

// Failed statements and connects of this thread; see VEXODBFailuresGet.
thread_local unsigned long t_failures = 0;

// The statement recorder benchmarks switch on; see VEXODBStatementHookSet.
std::atomic<VEXODBStatementHook> g_hook{nullptr};
std::atomic<void*> g_hook_context{nullptr};

}  // namespace

DBConnect_tag* VEXODBConnect(const char* host, const char* user, const char* password,
                             const char* database) {
  std::string key = PoolKey(host, user, password, database);
  if (DBConnect_tag* idle = PoolTake(key)) {
    gCountReused.fetch_add(1, std::memory_order_relaxed);
    return idle;
  }
  DBConnect_tag* connection = OpenSession(host, user, password, database, &t_connect_error);
  if (connection == nullptr) ++t_failures;
  if (connection != nullptr) connection->key = key;
  return connection;
}

int VEXODBClose(DBConnect_tag* connection) {
  if (connection == nullptr) return -1;
  if (!PoolGive(connection)) CloseSession(connection);
  return 0;
}

int VEXODBDatabaseTypeGet(DBConnect_tag* connection) {
  return connection == nullptr ? -1 : kVexoDBKindPostgreSQL;
}

int VEXODBExecute(DBConnect_tag* connection, const char* sql, DBResult_tag** result) {
  if (result != nullptr) *result = nullptr;
  if (connection == nullptr || sql == nullptr || !ReadyToSend(connection, sql)) {
    ++t_failures;
    return -1;
  }

  if (VEXODBStatementHook hook = g_hook.load(std::memory_order_acquire)) {
    hook(g_hook_context.load(std::memory_order_acquire), sql);
  }
  gCountStatements.fetch_add(1, std::memory_order_relaxed);
  PGresult* pg_result = PQexec(connection->pg, sql);
  ExecStatusType status = PQresultStatus(pg_result);
  bool failed = pg_result == nullptr || (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK);
  if (failed) {
    // A null result (connection lost, out of memory) has its reason on the
    // connection rather than on a result.
    const char* message =
        pg_result != nullptr ? PQresultErrorMessage(pg_result) : PQerrorMessage(connection->pg);
    connection->error = FirstLine(message);
    if (connection->error.empty()) connection->error = PQresStatus(status);
  }
  if (NoteOutcome(connection, sql, pg_result, failed)) {
    PQclear(pg_result);
    ++t_failures;
    return -1;
  }

  int rows = PQntuples(pg_result);
  gCountRows.fetch_add(static_cast<unsigned long>(rows), std::memory_order_relaxed);
  if (result == nullptr) {
    PQclear(pg_result);
    return 0;
  }
  DBResult_tag* handle = new (std::nothrow) DBResult_tag;
  if (handle == nullptr) {
    PQclear(pg_result);
    connection->error = "out of memory while keeping a result";
    ++t_failures;
    return -1;
  }
  handle->pg = pg_result;
  handle->rows = rows;
  *result = handle;
  return 0;
}

int VEXODBSelectLimit(DBConnect_tag* connection, const char* sql, int limit, int offset,
                      DBResult_tag** result) {
  if (result != nullptr) *result = nullptr;
  if (connection == nullptr || sql == nullptr) return -1;
  // The text goes to the server unchanged unless a clause is due, so that a
  // caller's statement reads the same in the server log either way.
  if (limit <= 0 && offset <= 0) return VEXODBExecute(connection, sql, result);
  std::string text = sql;
  if (limit > 0) text += " LIMIT " + std::to_string(limit);
  if (offset > 0) text += " OFFSET " + std::to_string(offset);
  return VEXODBExecute(connection, text.c_str(), result);
}

int VEXODBNumRows(DBResult_tag* result) {
  return result == nullptr ? 0 : result->rows;
}

int VEXODBAffectedRows(DBConnect_tag* connection, DBResult_tag* result) {
  if (connection == nullptr || result == nullptr) return -1;
  // PQcmdTuples gives "" for commands that report no count (VACUUM, CREATE
  // ...), which count as having affected nothing.
  const char* text = PQcmdTuples(result->pg);
  if (text == nullptr || *text == '\0') return 0;
  errno = 0;
  char* end = nullptr;
  long count = std::strtol(text, &end, 10);
  if (errno != 0 || end == text || count < 0) return 0;
  return count > INT_MAX ? INT_MAX : static_cast<int>(count);
}

int VEXODBFetchRow(DBResult_tag* result, unsigned int* row) {
  if (result == nullptr || row == nullptr) return -1;
  if (result->next_row >= result->rows) return -1;
  *row = static_cast<unsigned int>(result->next_row++);
  return 0;
}

const char* VEXODBFetchField(DBResult_tag* result, unsigned int row, const char* column) {
  if (result == nullptr || column == nullptr) return nullptr;
  if (row >= static_cast<unsigned int>(result->rows)) return nullptr;
  // Exact comparison with the names the server sent: PQfnumber would fold
  // unquoted names to lower case and allocates on every call.
  int columns = PQnfields(result->pg);
  for (int c = 0; c < columns; ++c) {
    if (std::strcmp(PQfname(result->pg, c), column) != 0) continue;
    int r = static_cast<int>(row);
    if (PQgetisnull(result->pg, r, c)) return nullptr;
    return PQgetvalue(result->pg, r, c);
  }
  return nullptr;
}

void VEXODBFreeResult(DBResult_tag* result) {
  if (result == nullptr) return;
  PQclear(result->pg);
  delete result;
}

const char* VEXODBErrorGet(DBConnect_tag* connection) {
  if (connection == nullptr) return t_connect_error.c_str();
  return connection->error.c_str();
}

unsigned long VEXODBFailuresGet() {
  return t_failures;
}

VEXODBCounters VEXODBCountersGet() {
  VEXODBCounters counters;
  counters.connects = gCountOpened.load(std::memory_order_relaxed);
  counters.reused = gCountReused.load(std::memory_order_relaxed);
  counters.statements = gCountStatements.load(std::memory_order_relaxed);
  counters.rows = gCountRows.load(std::memory_order_relaxed);
  return counters;
}

void VEXODBCountersReset() {
  gCountOpened.store(0, std::memory_order_relaxed);
  gCountReused.store(0, std::memory_order_relaxed);
  gCountStatements.store(0, std::memory_order_relaxed);
  gCountRows.store(0, std::memory_order_relaxed);
}

void VEXODBStatementHookSet(VEXODBStatementHook hook, void* context) {
  g_hook_context.store(context, std::memory_order_release);
  g_hook.store(hook, std::memory_order_release);
}

}  // namespace LibKinolot
