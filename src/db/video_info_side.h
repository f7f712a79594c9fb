// Internal savers of the side tables that hang on a video's mapper: the
// one-text tables summary and plus_info, and the name lists writer,
// director, actor and gnere.
#ifndef KINOLOT_DB_VIDEO_INFO_SIDE_H_
#define KINOLOT_DB_VIDEO_INFO_SIDE_H_

#include <list>
#include <string>

#include "kinolot/video_types.h"

namespace LibKinolot {

// Stores `text` (null reads as "") as the one row of `table` (6 summary or
// 7 plus_info) for `mapperId`, inserting or updating it. Returns the row's
// id, or -1.
int VideoInfoSideSave(_VIDEO_TABLE_TYPE_ table, int mapperId, const char* text);

// Replaces the names of `mapperId` in `table` (9 writer, 10 director,
// 11 actor or 12 gnere) by `names`, in list order. A name that fails to
// insert is skipped. Returns 0 when every statement succeeded, else -1.
int VideoInfoNameListSave(int mapperId, _VIDEO_TABLE_TYPE_ table, std::list<std::string> names);

}  // namespace LibKinolot

#endif  // KINOLOT_DB_VIDEO_INFO_SIDE_H_
