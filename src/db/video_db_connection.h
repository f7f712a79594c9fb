// The one process-wide connection that the path-keyed indexing interface
// shares, and the source name under which that interface logs.
#ifndef KINOLOT_DB_VIDEO_DB_CONNECTION_H_
#define KINOLOT_DB_VIDEO_DB_CONNECTION_H_

#include "kinolot/platform/vexo_db.h"

namespace LibKinolot {

// The source name at the front of every log line of the indexing interface.
constexpr char kVideoDbSource[] = "video_db";

// The database and user every connection of the library uses.
constexpr char kDatabaseName[] = "video_metadata";
constexpr char kDatabaseUser[] = "admin";

// Returns the shared connection, connecting on first use. A failed connect
// returns null and is retried on the next call; a good connection is kept
// until VideoDBConnClose. The caller must not close it.
DBConnect_tag* VideoDBConnGet();

}  // namespace LibKinolot

#endif  // KINOLOT_DB_VIDEO_DB_CONNECTION_H_
