// Internal look-ups over the type name tables that are not part of the
// library's interface.
#ifndef KINOLOT_FOUNDATION_VIDEO_TYPES_H_
#define KINOLOT_FOUNDATION_VIDEO_TYPES_H_

#include "kinolot/video_types.h"

namespace LibKinolot {

// Returns the database table name of `type`, or "invalid" for 0 and for any
// value that names no table. This is what turns a table type into the FROM
// clause of a query. The text is static; never null.
const char* VideoTableTypeGetName(_VIDEO_TABLE_TYPE_ type);

}  // namespace LibKinolot

#endif  // KINOLOT_FOUNDATION_VIDEO_TYPES_H_
