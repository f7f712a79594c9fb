// Large objects moved between a file of this process and the server over the
// connection itself, for a server that cannot open the file by its path (it
// runs on another machine, in a container, or as a user the file is closed
// to), and what a caller needs to know to choose between the two ways: where
// the server runs and whether a transaction is open.
#ifndef KINOLOT_PLATFORM_DB_LARGE_OBJECT_H_
#define KINOLOT_PLATFORM_DB_LARGE_OBJECT_H_

#include "kinolot/platform/vexo_db.h"

namespace LibKinolot {

// Whether the server of `connection` runs on this machine: it is reached
// through a Unix socket or a loopback address. False for null.
bool ServerOnThisMachine(DBConnect_tag* connection);

// Whether a transaction is open on `connection` (false for null).
bool InTransaction(DBConnect_tag* connection);

// Creates a large object holding the bytes of the file `path`, which this
// process reads. Must run inside a transaction. Returns the new object's oid,
// or 0 with the reason in VEXODBErrorGet(connection) for a null argument, a
// file this process cannot read and a failure on the server (which then
// spoils the transaction).
unsigned int LargeObjectImport(DBConnect_tag* connection, const char* path);

// Writes the large object `oid` into the file `path`, which this process
// creates or truncates. Must run inside a transaction. False, with the reason
// in VEXODBErrorGet(connection), for a null argument, an object that does not
// exist and a file that cannot be written.
bool LargeObjectExport(DBConnect_tag* connection, unsigned int oid, const char* path);

}  // namespace LibKinolot

#endif  // KINOLOT_PLATFORM_DB_LARGE_OBJECT_H_
