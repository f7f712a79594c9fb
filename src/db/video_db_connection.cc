// The shared connection of the indexing interface.
#include "db/video_db_connection.h"

#include "foundation/log.h"
#include "kinolot/video_db.h"
#include "kinolot/video_db_batch.h"

namespace LibKinolot {
namespace {
DBConnect_tag* gSharedConnection = nullptr;
}  // namespace

DBConnect_tag* OpenConnectionOrLog(const char* source, int line) {
  DBConnect_tag* connection = VEXODBConnect(nullptr, kDatabaseUser, nullptr, kDatabaseName);
  if (connection == nullptr) {
    LogError("%s:%d Cannot open a database connection: %s", source, line, VEXODBErrorGet(nullptr));
  }
  return connection;
}

DBConnect_tag* VideoDBConnGet() {
  if (gSharedConnection == nullptr) {
    gSharedConnection = OpenConnectionOrLog(kVideoDbSource, __LINE__);
  }
  return gSharedConnection;
}

int VideoDBConnClose() {
  if (gSharedConnection == nullptr) return 0;
  // A batch left open is undone rather than left to whoever takes the
  // connection next.
  if (VideoDBBatchIsOpen()) VideoDBBatchRollback();
  if (gSharedConnection == nullptr) return 0;
  int result = VEXODBClose(gSharedConnection);
  gSharedConnection = nullptr;
  return result;
}

}  // namespace LibKinolot
