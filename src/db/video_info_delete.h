// Internal look-up of the delete, rename and lock operations.
#ifndef KINOLOT_DB_VIDEO_INFO_DELETE_H_
#define KINOLOT_DB_VIDEO_INFO_DELETE_H_

#include <cstddef>

namespace LibKinolot {

// Copies the type name of mapper `mapperId` ("movie", "tvshow_episode", ...)
// into `out` of `capacity` bytes. Returns 0, or -1 when the mapper does not
// exist, on failure and for a null `out`.
int VideoInfoMapperTypeGet(int mapperId, char* out, size_t capacity);

}  // namespace LibKinolot

#endif  // KINOLOT_DB_VIDEO_INFO_DELETE_H_
