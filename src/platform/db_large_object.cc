// Large objects over the connection; see db_large_object.h.
#include "platform/db_large_object.h"

#include <libpq-fe.h>

#include <cstring>
#include <string>

#include "platform/db_handles.h"
#include "platform/db_session.h"

namespace LibKinolot {

namespace {

// The session's state after a large-object call, which is no statement the
// bookkeeping of db_session.h sees: the transaction it runs in and, after a
// failure, the reason and that the session is no longer as a new owner
// expects it.
bool NoteCall(DBConnect_tag* connection, bool ok) {
  PGTransactionStatusType status = PQtransactionStatus(connection->pg);
  connection->in_transaction = status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
  if (!ok) {
    connection->error = FirstLine(PQerrorMessage(connection->pg));
    if (connection->error.empty()) connection->error = "large-object call failed";
    connection->reusable = false;
  }
  return ok;
}

}  // namespace

bool ServerOnThisMachine(DBConnect_tag* connection) {
  if (connection == nullptr || connection->pg == nullptr) return false;
  const char* host = PQhost(connection->pg);
  // libpq names a socket folder by its path (or "@name" for an abstract one).
  if (host == nullptr || host[0] == '\0' || host[0] == '/' || host[0] == '@') return true;
  const char* address = PQhostaddr(connection->pg);
  for (const char* name : {host, address}) {
    if (name == nullptr) continue;
    if (std::strcmp(name, "localhost") == 0 || std::strncmp(name, "127.", 4) == 0 ||
        std::strcmp(name, "::1") == 0) {
      return true;
    }
  }
  return false;
}

bool InTransaction(DBConnect_tag* connection) {
  return connection != nullptr && connection->pg != nullptr &&
         PQtransactionStatus(connection->pg) != PQTRANS_IDLE;
}

unsigned int LargeObjectImport(DBConnect_tag* connection, const char* path) {
  if (connection == nullptr) return 0;
  if (path == nullptr) {
    connection->error = "no file to import";
    return 0;
  }
  if (!ReadyToSend(connection, "SELECT lo_import")) return 0;
  gCountStatements.fetch_add(1, std::memory_order_relaxed);
  Oid oid = lo_import(connection->pg, path);
  return NoteCall(connection, oid != InvalidOid) ? oid : 0;
}

bool LargeObjectExport(DBConnect_tag* connection, unsigned int oid, const char* path) {
  if (connection == nullptr) return false;
  if (path == nullptr) {
    connection->error = "no file to export to";
    return false;
  }
  if (!ReadyToSend(connection, "SELECT lo_export")) return false;
  gCountStatements.fetch_add(1, std::memory_order_relaxed);
  return NoteCall(connection, lo_export(connection->pg, oid, path) == 1);
}

}  // namespace LibKinolot
