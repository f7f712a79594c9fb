// The records that the path-keyed indexing interface exchanges with its
// caller: the description of one video of any kind, and the technical data of
// one video file.
//
// One struct, `_VIDEO_INFO_`, holds `type` and every field of every kind by
// name; `type` says which of them the record means. `_VIDEO_INFO_TVSHOW_`
// (the movie and episode fields, with the TV show part of an episode) and
// `_VIDEO_INFO_VIDEO_FILE_` (a file's technical data) are names for the same
// struct, so that code written against any of the three compiles and passes
// records freely between them.
//
// Use: clear the record, set `type`, fill the fields of that kind.
//
//   _VIDEO_INFO_ info{};                      // every text empty, every number 0
//   info.type = VIDEO_TYPE_MOVIE;
//   snprintf(info.title, sizeof(info.title), "%s", "It's Me");
//   info.year = 2009;
//   snprintf(info.originally_available, sizeof(info.originally_available), "2009-05-01");
//   info.actor.push_back("Jane Roe");
//   VideoInfoSave("/video/It's Me.mkv", &info);
//
//   info.Clear();                             // ready for the next video
//
// Texts are NUL-terminated UTF-8 of fixed capacity (the array size, the
// terminator included); an empty text means "not known". The library writes
// them bounded by that capacity and never cuts a multi-byte letter in half.
// Dates are the database's text forms: YYYY-MM-DD for dates, the timestamp
// text (such as "2009-05-01 20:15:00") for timestamps.
//
// Copying a record copies everything, the lists and JSON values included;
// the record owns its members and releases them when it goes.
#ifndef KINOLOT_VIDEO_INFO_H_
#define KINOLOT_VIDEO_INFO_H_

#include <json/value.h>

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "kinolot/video_types.h"

namespace LibKinolot {

struct _VIDEO_INFO_ {
  // Which kind of video the record describes: 1 movie, 3 TV show episode,
  // 4 home video, 5 TV recording, 6 video file (2, a TV show, only as the
  // show part of an episode).
  _VIDEO_TYPE_ type = VIDEO_TYPE_INVALID;

  // Movie and episode (fields shared by every description). For an episode
  // `title` is the title of its show.
  char title[255] = {};
  char sort_title[255] = {};  // derived from `title` by FillVideoInfo
  int32_t year = 0;
  char originally_available[32] = {};  // YYYY-MM-DD
  char sort_time[32] = {};             // set by the caller: dates are taken as they are
  char create_date[32] = {};
  char modify_date[32] = {};
  std::vector<std::string> extra_list;  // carried for the caller; never stored
  Json::Value plus_info;                // stored as its styled JSON text
  char summary[4096] = {};
  std::list<std::string> writer;
  std::list<std::string> director;
  std::list<std::string> gnere;  // the genres; spelled as the schema's table
  std::list<std::string> actor;
  char tag_line[255] = {};

  // Episode, with the TV show it belongs to. The show is identified by
  // `title` (ignoring case) and `tvshow_year`, the episode by those and
  // `season` and `episode`.
  int32_t season = 0;
  int32_t episode = 0;
  int32_t tvshow_year = 0;
  char tvshow_originally_available[32] = {};
  char tvshow_sort_time[32] = {};
  char reserved[4096] = {};  // kept for callers; the library neither reads nor writes it
  Json::Value tvshow_plus_info;
  char tvshow_summary[4096] = {};
  std::vector<std::string> tvshow_extra_list;  // carried for the caller; never stored

  // Home video and TV recording (with `title`, `sort_title`, `create_date`,
  // `modify_date`, `summary` and the four lists above). A recording is
  // identified by `title` and `record_time`; one without a record time is
  // stored anew on every save.
  char record_time[32] = {};  // timestamp text
  char channel_name[255] = {};

  // Video file (type 6), with `create_date` and `modify_date` above. `path`
  // is the key of the whole indexing interface.
  _VIDEO_TYPE_ video_type = VIDEO_TYPE_INVALID;  // kind written into the file's first mapper
  char path[4096] = {};
  int64_t filesize = 0;
  float duration = 0;  // seconds; stored truncated to whole seconds
  char container_type[255] = {};
  char video_codec[255] = {};
  int32_t frame_bitrate = 0;
  int32_t frame_rate_num = 0;
  int32_t frame_rate_den = 0;
  int32_t video_bitrate = 0;
  int32_t video_profile = 0;
  int32_t video_level = 0;
  int32_t resolutionX = 0;
  int32_t resolutionY = 0;
  char audio_codec[255] = {};
  int32_t audio_bitrate = 0;
  int32_t frequency = 0;
  int32_t channel = 0;

  // Empties every text and list, zeroes every number and resets `type`.
  void Clear() { *this = _VIDEO_INFO_{}; }
};

// The movie and episode layout, with the show part of an episode.
using _VIDEO_INFO_TVSHOW_ = _VIDEO_INFO_;
// A video file's technical data (type 6).
using _VIDEO_INFO_VIDEO_FILE_ = _VIDEO_INFO_;

}  // namespace LibKinolot

#endif  // KINOLOT_VIDEO_INFO_H_
