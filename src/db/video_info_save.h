// Internal steps of saving a description: one saver per kind of video, and
// the relinking of a file to the description it shows.
#ifndef KINOLOT_DB_VIDEO_INFO_SAVE_H_
#define KINOLOT_DB_VIDEO_INFO_SAVE_H_

#include "kinolot/video_info.h"

namespace LibKinolot {

// Each saver finds the description of its kind by identity and updates it,
// or creates a mapper and inserts it, then stores its side tables (summary,
// and plus_info for movies and episodes). Returns the description's mapper
// id, or -1. Dates must have been checked by the caller: a malformed one is
// written as NULL.
int VideoInfoMovieSave(_VIDEO_INFO_* info);
// Saves the episode's show first (one show row per title and show year),
// then the episode under it; returns the episode's mapper id.
int VideoInfoTVShowEpisodeSave(_VIDEO_INFO_* info);
int VideoInfoHomeVideoSave(_VIDEO_INFO_* info);
int VideoInfoTVRecordSave(_VIDEO_INFO_* info);

// Points the file row of `path` at the description `info` and deletes the
// file's former description (and, for episodes, its show) when nothing uses
// it any more. The description is `mapperId` when that is 0 or more, else it
// is looked up by the identity of `info`. When `path` has no file row the
// description itself is dropped again unless some file uses it. Returns 0,
// or -1.
int VideoInfoUpdateVideoFile(const char* path, _VIDEO_INFO_* info, int mapperId = -1);

}  // namespace LibKinolot

#endif  // KINOLOT_DB_VIDEO_INFO_SAVE_H_
