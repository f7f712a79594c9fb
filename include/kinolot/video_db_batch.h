// Batches of the indexing interface: a scanner that stores thousands of files
// groups its saves into transactions on the shared connection, so that the
// server flushes its log once per batch instead of once per statement.
//
// Between VideoDBBatchBegin and VideoDBBatchCommit (or VideoDBBatchRollback)
// every statement that the indexing interface and poster storage run on the
// shared connection belongs to one transaction. The functions keep their
// behaviour and their SQL; only the moment at which their writes become
// durable and visible to other connections changes. Use from one thread at a
// time, like the rest of the indexing interface.
//
// A failure inside a batch loses nothing silently: once any statement of the
// batch has failed, the batch is spoilt, VideoDBBatchCommit rolls all of it
// back and returns -1, and the caller stores the batch's items again, one by
// one outside a batch, to learn which of them fails. (A scanner keeps the
// paths of its current batch for that.) The same holds when the connection
// breaks inside the batch (the server restarts, say): every later statement
// of the batch fails, the commit returns -1, and the connection is reopened
// for what follows. A commit that fails while the server is answering it
// may have been applied or not; storing the items again is safe either way,
// since a save finds what is stored already. VideoDBConnClose with a batch
// open rolls it back. Other connections (those of VideoMetadataAPI) see the
// batch's writes only once it is committed, and VideoDBVacuum, which cannot
// run inside a transaction, fails and spoils the batch.
#ifndef KINOLOT_VIDEO_DB_BATCH_H_
#define KINOLOT_VIDEO_DB_BATCH_H_

#include "kinolot/export.h"

namespace LibKinolot {

// Opens a batch on the shared connection, connecting if needed. Returns 0, or
// -1 when no connection can be had or a batch is already open.
KINOLOT_EXPORT int VideoDBBatchBegin();

// Makes every write of the open batch durable. Returns 0, or -1 when no batch
// is open or the commit failed.
KINOLOT_EXPORT int VideoDBBatchCommit();

// Undoes every write of the open batch. Returns 0, or -1 when no batch is
// open; when the server cannot be told, the shared connection is closed,
// which undoes the batch as well.
KINOLOT_EXPORT int VideoDBBatchRollback();

// Returns whether a batch is open.
KINOLOT_EXPORT bool VideoDBBatchIsOpen();

}  // namespace LibKinolot

#endif  // KINOLOT_VIDEO_DB_BATCH_H_
