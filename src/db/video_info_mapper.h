// Internal operations on the mapper table: creating a mapper row and
// dropping one that nothing refers to any more.
#ifndef KINOLOT_DB_VIDEO_INFO_MAPPER_H_
#define KINOLOT_DB_VIDEO_INFO_MAPPER_H_

#include "kinolot/video_types.h"

namespace LibKinolot {

// Inserts a mapper row of kind `type` and returns its id, or -1.
int VideoInfoMapperSave(_VIDEO_TYPE_ type);

// Deletes mapper `mapperId` when nothing uses it any more: for `kind` 2 (a TV
// show) when no episode belongs to the show, for any other kind when no video
// file points at it. Returns 0 (also when it is still used), or -1.
int VideoInfoMapperDeleteIfUnused(int kind, int mapperId);

}  // namespace LibKinolot

#endif  // KINOLOT_DB_VIDEO_INFO_MAPPER_H_
