// The idle connections of the process, kept so that opening a connection
// to a server the process has talked to costs nothing: a connection given
// back with VEXODBClose waits here until VEXODBConnect asks for one to the
// same server, user and database. Safe from several threads; a forked child
// never takes its parent's connections.
#ifndef KINOLOT_PLATFORM_DB_POOL_H_
#define KINOLOT_PLATFORM_DB_POOL_H_

#include <string>

#include "platform/db_handles.h"

namespace LibKinolot {

// The text that tells which server, user and database a connect with these
// arguments reaches, the environment filling in what they leave out.
std::string PoolKey(const char* host, const char* user, const char* password, const char* database);

// An idle connection of this process with `key` that is still alive, now
// owned by the caller; null when there is none or reuse is off.
DBConnect_tag* PoolTake(const std::string& key);

// Keeps `connection` for a later PoolTake. Returns false, leaving it to the
// caller to close, when reuse is off or the connection is not fit to be
// handed to another owner: broken, inside a transaction, after a failed
// statement, with changed session settings, or opened by another process.
// When the pool is full its oldest connection is closed.
bool PoolGive(DBConnect_tag* connection);

}  // namespace LibKinolot

#endif  // KINOLOT_PLATFORM_DB_POOL_H_
