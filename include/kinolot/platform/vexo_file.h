// The platform's file services: existence tests, copies, extended-attribute
// removal and media-index notifications.
//
// A plain POSIX system keeps no extended attributes for media and has no
// media index, so those operations succeed without doing anything; the copy
// is an ordinary byte copy.
#ifndef KINOLOT_PLATFORM_VEXO_FILE_H_
#define KINOLOT_PLATFORM_VEXO_FILE_H_

#include "kinolot/export.h"

namespace LibKinolot {

// Options of VEXOFileCopy. Start from a zeroed record and set flags to 1.
struct VEXO_FILE_COPY_OPT {
  int syncData;   // flush the copy to disk before returning
  int overwrite;  // replace an existing destination (else the copy fails)
  int keepMode;   // give the copy the source's permission bits
  int keepTimes;  // give the copy the source's access and modification times
};

// Returns 1 when `path` names an existing file system object, else 0 (also
// for a null or empty path).
KINOLOT_EXPORT int IsFileExist(const char* path);

// Copies the regular file `source` to `destination`. A null `options` means a
// zeroed record. Returns 0 on success and -1 on failure; a failed copy leaves
// no partial destination behind.
KINOLOT_EXPORT int VEXOFileCopy(const char* source, const char* destination,
                                const VEXO_FILE_COPY_OPT* options);

// Removes the media extended attributes of `path`. Nothing to remove on this
// platform: returns 0.
KINOLOT_EXPORT int VEXOEARemove(const char* path, int index, int flags);

// Tells the media index that `path` changed. No index on this platform:
// returns 0.
KINOLOT_EXPORT int VLIBVexoIndexAdd(const char* path, int action);

// Tells the media index that the file `path` changed. No index on this
// platform: returns 0.
KINOLOT_EXPORT int VLIBVexoFileIndexAdd(const char* path, int action, int kind);

}  // namespace LibKinolot

#endif  // KINOLOT_PLATFORM_VEXO_FILE_H_
