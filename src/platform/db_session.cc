// Server sessions of the platform's connections; see db_session.h.
#include "platform/db_session.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace LibKinolot {

namespace {

// Notices and warnings (VACUUM skipping tables it does not own, say) are not
// failures and are dropped; libpq's default would print them on the host
// program's standard error. A fatal message arriving on an idle session is
// the server ending it (a shutdown, a terminated backend): the session is
// marked, so that nothing is sent on it even before the socket closes.
void ReceiveNotice(void* context, const PGresult* message) {
  const char* severity = PQresultErrorField(message, PG_DIAG_SEVERITY_NONLOCALIZED);
  if (severity != nullptr &&
      (std::strcmp(severity, "FATAL") == 0 || std::strcmp(severity, "PANIC") == 0)) {
    static_cast<DBConnect_tag*>(context)->ended_by_server = true;
  }
}

// Points the socket of `pg` at /dev/null, so that whatever libpq writes to
// it on closing reaches nobody. False when /dev/null cannot be opened.
bool DetachSocket(PGconn* pg) {
  int fd = PQsocket(pg);
  if (fd < 0) return true;
  int null_fd = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (null_fd < 0) return false;
  bool done = dup2(null_fd, fd) == fd;
  close(null_fd);
  return done;
}

// Opens the session again with the settings it was opened with.
bool Reopen(DBConnect_tag* connection) {
  if (connection->pid != getpid() && !DetachSocket(connection->pg)) {
    connection->error = "cannot take over a connection inherited from another process";
    return false;
  }
  connection->pid = getpid();
  connection->in_transaction = false;
  connection->transaction_lost = false;
  connection->ended_by_server = false;
  PQreset(connection->pg);
  if (PQstatus(connection->pg) != CONNECTION_OK) {
    connection->error =
        "lost connection could not be reopened: " + FirstLine(PQerrorMessage(connection->pg));
    return false;
  }
  connection->reusable = true;
  gCountOpened.fetch_add(1, std::memory_order_relaxed);
  return true;
}

enum class TransactionEnd { kNone, kCommit, kRollback };

// Whether `sql` ends a transaction: COMMIT or END, ROLLBACK or ABORT, alone
// or followed by WORK or TRANSACTION and a semicolon. ROLLBACK TO SAVEPOINT
// and the like do not.
TransactionEnd EndsTransaction(const char* sql) {
  std::string words[3];
  int count = 0;
  for (const char* p = sql; *p != '\0' && count < 3;) {
    if (std::isspace(static_cast<unsigned char>(*p)) || *p == ';') {
      ++p;
      continue;
    }
    while (*p != '\0' && !std::isspace(static_cast<unsigned char>(*p)) && *p != ';') {
      words[count] += static_cast<char>(std::toupper(static_cast<unsigned char>(*p++)));
    }
    ++count;
  }
  if (count > 2 || (count == 2 && words[1] != "WORK" && words[1] != "TRANSACTION")) {
    return TransactionEnd::kNone;
  }
  if (words[0] == "COMMIT" || words[0] == "END") return TransactionEnd::kCommit;
  if (words[0] == "ROLLBACK" || words[0] == "ABORT") return TransactionEnd::kRollback;
  return TransactionEnd::kNone;
}

// Whether a statement with the command tag `tag` leaves the session as any
// other owner expects to find it. Queries, data changes and transactions do;
// SET, PREPARE, LISTEN, CREATE TEMP ... and the like change it.
bool LeavesSessionClean(const char* tag) {
  static const char* const kClean[] = {"SELECT",  "INSERT",   "UPDATE", "DELETE",   "MERGE",
                                       "BEGIN",   "START",    "COMMIT", "ROLLBACK", "VACUUM",
                                       "ANALYZE", "TRUNCATE", "COPY"};
  size_t length = std::strcspn(tag, " ");
  if (length == 0) return true;  // an empty statement
  for (const char* clean : kClean) {
    if (std::strlen(clean) == length && std::strncmp(tag, clean, length) == 0) return true;
  }
  return false;
}

}  // namespace

std::string FirstLine(const char* message) {
  std::string text = message ? message : "";
  return text.substr(0, text.find_first_of("\r\n"));
}

DBConnect_tag* OpenSession(const char* host, const char* user, const char* password,
                           const char* database, std::string* error) {
  // Only the settings the caller gave are passed, so that libpq falls back on
  // its own defaults (PGHOST, PGUSER, ...) for the rest. The options pin
  // every session to the quoting rule the formatter escapes by; given
  // options replace PGOPTIONS, so its settings (a statement timeout, say)
  // are passed on in front, where the pinned rule still wins.
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
  const char* environment = std::getenv("PGOPTIONS");
  const std::string options =
      std::string(environment != nullptr ? environment : "") + " -c standard_conforming_strings=on";
  add("options", options.c_str());
  add("client_encoding", "UTF8");
  add("fallback_application_name", "kinolot");
  keys[n] = nullptr;
  values[n] = nullptr;

  PGconn* pg = PQconnectdbParams(keys, values, /*expand_dbname=*/0);
  if (pg == nullptr) {
    *error = "out of memory while connecting to the database";
    return nullptr;
  }
  if (PQstatus(pg) != CONNECTION_OK) {
    // Which server was tried, then libpq's reason.
    std::string reason = FirstLine(PQerrorMessage(pg));
    if (reason.empty()) reason = "could not connect to the database";
    const char* tried = PQhost(pg);
    const char* port = PQport(pg);
    *error = std::string("server ") + (tried && *tried ? tried : "(default)") + " port " +
             (port && *port ? port : "(default)") + ", database " + (PQdb(pg) ? PQdb(pg) : "") +
             ", user " + (PQuser(pg) ? PQuser(pg) : "") + ": " + reason;
    PQfinish(pg);
    return nullptr;
  }
  DBConnect_tag* connection = new (std::nothrow) DBConnect_tag;
  if (connection == nullptr) {
    PQfinish(pg);
    *error = "out of memory while connecting to the database";
    return nullptr;
  }
  PQsetNoticeReceiver(pg, ReceiveNotice, connection);
  connection->pg = pg;
  connection->pid = getpid();
  gCountOpened.fetch_add(1, std::memory_order_relaxed);
  return connection;
}

void CloseSession(DBConnect_tag* connection) {
  if (connection == nullptr) return;
  // Without /dev/null the session is left to the operating system rather
  // than ended on a socket the parent still uses.
  if (connection->pid == getpid() || DetachSocket(connection->pg)) PQfinish(connection->pg);
  delete connection;
}

bool SessionAlive(DBConnect_tag* connection) {
  // An idle session has nothing to read. Input means a notice, a parameter
  // report, or the server's goodbye followed by the end of the stream; the
  // end shows only on a later read, so input is consumed until none is left.
  PGconn* pg = connection->pg;
  for (int round = 0; round < 8; ++round) {
    if (connection->ended_by_server || PQstatus(pg) != CONNECTION_OK) return false;
    pollfd waiting = {PQsocket(pg), POLLIN, 0};
    int ready = poll(&waiting, 1, 0);
    if (ready == 0) return true;
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) return false;
    if (PQconsumeInput(pg) == 0) return false;
    // Parses what arrived; a goodbye in an idle session goes to the notice
    // receiver.
    while (PGnotify* notice = PQnotifies(pg)) PQfreemem(notice);
  }
  return !connection->ended_by_server && PQstatus(pg) == CONNECTION_OK;
}

bool ReadyToSend(DBConnect_tag* connection, const char* sql) {
  if (connection->pid == getpid() && !connection->transaction_lost && SessionAlive(connection)) {
    return true;
  }
  // Broken, or inherited from the parent process, whose transaction this
  // process cannot continue.
  if (connection->in_transaction) connection->transaction_lost = true;
  if (connection->transaction_lost) {
    TransactionEnd end = EndsTransaction(sql);
    if (end == TransactionEnd::kNone) {
      connection->error =
          "the connection broke inside a transaction, which was rolled back; end the transaction "
          "before anything else";
      return false;
    }
    // The owner ends the transaction: whatever follows starts afresh.
    connection->transaction_lost = false;
    connection->in_transaction = false;
    bool reopened = Reopen(connection);
    if (end == TransactionEnd::kCommit) {
      connection->error =
          "the connection broke inside the transaction, which was rolled back; nothing was "
          "committed";
      return false;
    }
    return reopened;  // a ROLLBACK, which the new session answers harmlessly
  }
  return Reopen(connection);
}

bool NoteOutcome(DBConnect_tag* connection, const char* sql, PGresult* result, bool failed) {
  switch (PQtransactionStatus(connection->pg)) {
    case PQTRANS_IDLE:
      connection->in_transaction = false;
      break;
    case PQTRANS_INTRANS:
    case PQTRANS_INERROR:
      connection->in_transaction = true;
      break;
    default:
      // The session broke during the statement. A transaction it was ending
      // has ended either way; any other stays open as far as we know.
      if (EndsTransaction(sql) != TransactionEnd::kNone) connection->in_transaction = false;
      break;
  }
  if (failed) {
    connection->reusable = false;
    return true;
  }
  const char* tag = PQcmdStatus(result);
  if (!LeavesSessionClean(tag)) connection->reusable = false;
  if (EndsTransaction(sql) == TransactionEnd::kCommit && std::strcmp(tag, "ROLLBACK") == 0) {
    connection->error =
        "the transaction was rolled back instead of committed: a statement in it had failed";
    return true;
  }
  return false;
}

}  // namespace LibKinolot
