// Connections, statements and result rows of the platform's database access,
// on libpq. Every SQL statement the library sends goes through VEXODBExecute,
// and every connection it opens comes from VEXODBConnect, which is why the
// counters that benchmarks read live here.
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

namespace LibKinolot {

namespace {

std::atomic<unsigned long> g_connects{0};
std::atomic<unsigned long> g_statements{0};
std::atomic<unsigned long> g_rows{0};

// Why the last VEXODBConnect on this thread failed. Per thread, so that the
// pointer VEXODBErrorGet(nullptr) hands out cannot be overwritten by another
// thread's failure while the caller reads it.
thread_local std::string t_connect_error;

// libpq's messages end in a newline, and the server's go on with lines that
// quote the statement and point at the error. Callers write the text into a
// log line of their own, so only its first line, the error itself, is kept.
std::string TrimmedMessage(const char* message) {
  std::string text = message ? message : "";
  text = text.substr(0, text.find_first_of("\r\n"));
  return text;
}

void IgnoreNotice(void* /*context*/, const char* /*message*/) {}

}  // namespace

DBConnect_tag* VEXODBConnect(const char* host, const char* user, const char* password,
                             const char* database) {
  // Only the settings the caller gave are passed, so that libpq falls back on
  // its own defaults (PGHOST, PGUSER, ...) for the rest. The options pin
  // every session to the quoting rule the formatter escapes by.
  const char* keys[8];
  const char* values[8];
  int n = 0;
  auto add = [&](const char* key, const char* value) {
    if (value == nullptr) return;
    keys[n] = key;
    values[n] = value;
    ++n;
  };
  add("host", host);
  add("user", user);
  add("password", password);
  add("dbname", database);
  add("options", "-c standard_conforming_strings=on");
  add("client_encoding", "UTF8");
  add("fallback_application_name", "kinolot");
  keys[n] = nullptr;
  values[n] = nullptr;

  PGconn* pg = PQconnectdbParams(keys, values, /*expand_dbname=*/0);
  if (pg == nullptr) {
    t_connect_error = "out of memory while connecting to the database";
    return nullptr;
  }
  if (PQstatus(pg) != CONNECTION_OK) {
    t_connect_error = TrimmedMessage(PQerrorMessage(pg));
    if (t_connect_error.empty()) t_connect_error = "could not connect to the database";
    PQfinish(pg);
    return nullptr;
  }
  DBConnect_tag* connection = new (std::nothrow) DBConnect_tag;
  if (connection == nullptr) {
    PQfinish(pg);
    t_connect_error = "out of memory while connecting to the database";
    return nullptr;
  }
  // Notices and warnings (VACUUM skipping tables it does not own, say) are
  // not failures; libpq's default would print them on the host program's
  // standard error.
  PQsetNoticeProcessor(pg, IgnoreNotice, nullptr);
  connection->pg = pg;
  g_connects.fetch_add(1, std::memory_order_relaxed);
  return connection;
}

int VEXODBClose(DBConnect_tag* connection) {
  if (connection == nullptr) return -1;
  PQfinish(connection->pg);
  delete connection;
  return 0;
}

int VEXODBDatabaseTypeGet(DBConnect_tag* connection) {
  return connection == nullptr ? -1 : kVexoDBKindPostgreSQL;
}

int VEXODBExecute(DBConnect_tag* connection, const char* sql, DBResult_tag** result) {
  if (result != nullptr) *result = nullptr;
  if (connection == nullptr || sql == nullptr) return -1;

  g_statements.fetch_add(1, std::memory_order_relaxed);
  PGresult* pg_result = PQexec(connection->pg, sql);
  ExecStatusType status = PQresultStatus(pg_result);
  if (pg_result == nullptr || (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)) {
    // A null result (connection lost, out of memory) has its reason on the
    // connection rather than on a result.
    const char* message =
        pg_result != nullptr ? PQresultErrorMessage(pg_result) : PQerrorMessage(connection->pg);
    connection->error = TrimmedMessage(message);
    if (connection->error.empty()) connection->error = PQresStatus(status);
    PQclear(pg_result);
    return -1;
  }

  int rows = PQntuples(pg_result);
  g_rows.fetch_add(static_cast<unsigned long>(rows), std::memory_order_relaxed);
  if (result == nullptr) {
    PQclear(pg_result);
    return 0;
  }
  DBResult_tag* handle = new (std::nothrow) DBResult_tag;
  if (handle == nullptr) {
    PQclear(pg_result);
    connection->error = "out of memory while keeping a result";
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

VEXODBCounters VEXODBCountersGet() {
  VEXODBCounters counters;
  counters.connects = g_connects.load(std::memory_order_relaxed);
  counters.statements = g_statements.load(std::memory_order_relaxed);
  counters.rows = g_rows.load(std::memory_order_relaxed);
  return counters;
}

void VEXODBCountersReset() {
  g_connects.store(0, std::memory_order_relaxed);
  g_statements.store(0, std::memory_order_relaxed);
  g_rows.store(0, std::memory_order_relaxed);
}

}  // namespace LibKinolot
