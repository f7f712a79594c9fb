// The one process-wide connection that the path-keyed indexing interface
// shares, the way every connection of the library is opened, and the source
// name under which the indexing interface logs.
#ifndef KINOLOT_DB_VIDEO_DB_CONNECTION_H_
#define KINOLOT_DB_VIDEO_DB_CONNECTION_H_

#include "kinolot/platform/vexo_db.h"

namespace LibKinolot {

// The source name at the front of every log line of the indexing interface.
constexpr char kVideoDbSource[] = "video_db";

// The database and user every connection of the library uses.
constexpr char kDatabaseName[] = "video_metadata";
constexpr char kDatabaseUser[] = "admin";

// Opens a connection to the library's database (an idle one of the process
// when there is one). When none can be had, logs once, under `source` and
// `line`, which server was tried and why it failed, and returns null. The
// caller owns the connection and releases it with VEXODBClose.
DBConnect_tag* OpenConnectionOrLog(const char* source, int line);

// Returns the shared connection, connecting on first use. A failed connect
// returns null and is retried on the next call; a good connection is kept
// until VideoDBConnClose (the platform reopens it before use when the server
// has dropped it). The caller must not close it.
DBConnect_tag* VideoDBConnGet();

}  // namespace LibKinolot

#endif  // KINOLOT_DB_VIDEO_DB_CONNECTION_H_
