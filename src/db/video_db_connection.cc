// The shared connection of the indexing interface.
#include "db/video_db_connection.h"

#include "kinolot/video_db.h"

namespace LibKinolot {
namespace {
DBConnect_tag* gSharedConnection = nullptr;
}  // namespace

DBConnect_tag* VideoDBConnGet() {
  if (gSharedConnection == nullptr) {
    gSharedConnection = VEXODBConnect(nullptr, kDatabaseUser, nullptr, kDatabaseName);
  }
  return gSharedConnection;
}

int VideoDBConnClose() {
  if (gSharedConnection == nullptr) return 0;
  int result = VEXODBClose(gSharedConnection);
  gSharedConnection = nullptr;
  return result;
}

}  // namespace LibKinolot
