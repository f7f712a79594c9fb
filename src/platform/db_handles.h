// The insides of the opaque handles of vexo_db.h and the counters behind
// VEXODBCountersGet, shared by the units of the platform's database access
// and by nothing else.
#ifndef KINOLOT_PLATFORM_DB_HANDLES_H_
#define KINOLOT_PLATFORM_DB_HANDLES_H_

#include <libpq-fe.h>
#include <sys/types.h>

#include <atomic>
#include <string>

namespace LibKinolot {

struct DBConnect_tag {
  PGconn* pg = nullptr;
  // Text of the last failed statement on this connection, "" when none failed.
  std::string error;
  // The server, user and database the connection reaches, as the pool
  // matches them; "" for a connection that is never given to the pool.
  std::string key;
  // The process that opened the session. A forked child finds another pid
  // here and must not write to the socket it inherited.
  pid_t pid = 0;
  // After the last statement the server held a transaction open. Kept
  // through a break, when the server can no longer be asked.
  bool in_transaction = false;
  // The session broke while a transaction was open: every statement fails
  // until the owner ends the transaction, so that none of it runs outside
  // the transaction it was meant for.
  bool transaction_lost = false;
  // The server sent a fatal message while the session was idle: it is
  // ending the session.
  bool ended_by_server = false;
  // Nothing failed and nothing changed the session's settings since it was
  // opened, so another owner may be handed it as it is.
  bool reusable = true;
};

struct DBResult_tag {
  PGresult* pg = nullptr;
  int rows = 0;      // PQntuples of `pg`, kept to bound the cursor cheaply
  int next_row = 0;  // the row VEXODBFetchRow hands out next
};

// What VEXODBCountersGet reports.
inline std::atomic<unsigned long> gCountOpened{0};
inline std::atomic<unsigned long> gCountReused{0};
inline std::atomic<unsigned long> gCountStatements{0};
inline std::atomic<unsigned long> gCountRows{0};

}  // namespace LibKinolot

#endif  // KINOLOT_PLATFORM_DB_HANDLES_H_
