// Batches of the indexing interface on the shared connection: one
// transaction from VideoDBBatchBegin to VideoDBBatchCommit or
// VideoDBBatchRollback. The platform makes a COMMIT fail when the server
// rolled the transaction back (a statement in it had failed) and when the
// connection broke inside it, so a spoilt batch never reports success.
#include "kinolot/video_db_batch.h"

#include "db/video_db_connection.h"
#include "foundation/log.h"
#include "kinolot/video_db.h"

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
  if (gBatchOpen) {
    LogError("%s:%d A batch is open already", kVideoDbSource, __LINE__);
    return -1;
  }
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
  // Should the server not take the ROLLBACK, the connection is dropped,
  // which ends the transaction as surely.
  if (RunOnShared("ROLLBACK", __LINE__) != 0) VideoDBConnClose();
  return 0;
}

bool VideoDBBatchIsOpen() {
  return gBatchOpen;
}

}  // namespace LibKinolot
