// Batches of the indexing interface on the shared connection.
#include "kinolot/video_db_batch.h"

#include "db/video_db_connection.h"
#include "foundation/log.h"

namespace LibKinolot {
namespace {
bool gBatchOpen = false;

int RunOnShared(const char* sql, int line) {
  DBConnect_tag* connection = VideoDBConnGet();
  if (connection == nullptr) {
    LogError("%s:%d Failed to connect to database", kVideoDbSource, line);
    return -1;
  }
  DBResult_tag* result = nullptr;
  int status = VEXODBExecute(connection, sql, &result);
  if (status == -1) {
    LogError("%s (%d) Failed to exec [%s] (%s)", kVideoDbSource, line, sql,
             VEXODBErrorGet(connection));
  }
  VEXODBFreeResult(result);
  return status == -1 ? -1 : 0;
}
}  // namespace

int VideoDBBatchBegin() {
  if (gBatchOpen) return -1;
  if (RunOnShared("BEGIN", __LINE__) != 0) return -1;
  gBatchOpen = true;
  return 0;
}

int VideoDBBatchCommit() {
  if (!gBatchOpen) return -1;
  gBatchOpen = false;
  return RunOnShared("COMMIT", __LINE__);
}

int VideoDBBatchRollback() {
  if (!gBatchOpen) return -1;
  gBatchOpen = false;
  return RunOnShared("ROLLBACK", __LINE__);
}

bool VideoDBBatchIsOpen() { return gBatchOpen; }

}  // namespace LibKinolot
