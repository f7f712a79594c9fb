// The server sessions behind the platform's connections: opening one with the
// settings every connection is pinned to, telling whether an idle one is
// still alive, closing one without touching a socket inherited from a parent
// process, and the bookkeeping around each statement that reopens a broken
// session before anything is sent on it, but never in a way that could let a
// statement run outside the transaction it was meant for.
#ifndef KINOLOT_PLATFORM_DB_SESSION_H_
#define KINOLOT_PLATFORM_DB_SESSION_H_

#include <string>

#include "platform/db_handles.h"

namespace LibKinolot {

// The first line of a libpq message ("" for null). libpq's messages end in a
// newline, and the server's go on with lines that quote the statement and
// point at the error; callers write the error itself into log lines of their
// own.
std::string FirstLine(const char* message);

// Opens a session; a null argument leaves that setting to libpq's defaults.
// Returns a new connection owned by the caller (release it with
// CloseSession), or null with the server that was tried and libpq's reason
// in `error`.
DBConnect_tag* OpenSession(const char* host, const char* user, const char* password,
                           const char* database, std::string* error);

// Ends the session and frees `connection`. In a process other than the one
// that opened it, the inherited socket is first pointed at /dev/null, so
// that the goodbye libpq sends cannot end the parent's session.
void CloseSession(DBConnect_tag* connection);

// Whether an idle session is still usable: it is not known to be broken and
// the server has not ended it (a server that shuts down says goodbye and
// closes the socket, which shows as input on an idle session).
bool SessionAlive(DBConnect_tag* connection);

// Called before `sql` is sent on `connection`. Returns true when it may be
// sent: the session is alive, or it was broken (or inherited from a parent
// process) outside a transaction and has just been reopened. Returns false,
// with the reason in connection->error, when it must not be sent: the
// session cannot be reopened, or it broke inside a transaction, which then
// fails every statement until the owner ends it. A COMMIT ending such a
// transaction fails, a ROLLBACK goes to a reopened session.
bool ReadyToSend(DBConnect_tag* connection, const char* sql);

// Called after `sql` ran on `connection` with `result` (null when libpq gave
// none); `failed` tells whether the statement failed. Keeps the session's
// state up to date and returns whether the statement failed after all: a
// COMMIT that the server answers by rolling back (because a statement of the
// transaction had failed) is a failure, with its reason in connection->error.
bool NoteOutcome(DBConnect_tag* connection, const char* sql, PGresult* result, bool failed);

}  // namespace LibKinolot

#endif  // KINOLOT_PLATFORM_DB_SESSION_H_
