// The small integer vocabularies in which every layer of Kinolot speaks of
// videos (kind of video, database table, browse category, extra information,
// sort direction, filter action), and `_VIDEO_INFO_ALL_`, the flat record into
// which any row of any video query is decoded.
#ifndef KINOLOT_VIDEO_TYPES_H_
#define KINOLOT_VIDEO_TYPES_H_

#include <cstdint>

#include "kinolot/export.h"

namespace LibKinolot {

// The kind of a video; also the text of the `mapper.type` column, by name.
enum _VIDEO_TYPE_ : int32_t {
  VIDEO_TYPE_INVALID = 0,
  VIDEO_TYPE_MOVIE = 1,
  VIDEO_TYPE_TVSHOW = 2,
  VIDEO_TYPE_TVSHOW_EPISODE = 3,
  VIDEO_TYPE_HOME_VIDEO = 4,
  VIDEO_TYPE_TV_RECORD = 5,
  VIDEO_TYPE_VIDEO_FILE = 6
};

// One value per database table. Values 1 to 5 coincide with _VIDEO_TYPE_.
enum _VIDEO_TABLE_TYPE_ : int32_t {
  VIDEO_TABLE_INVALID = 0,
  VIDEO_TABLE_MOVIE = 1,
  VIDEO_TABLE_TVSHOW = 2,
  VIDEO_TABLE_TVSHOW_EPISODE = 3,
  VIDEO_TABLE_HOME_VIDEO = 4,
  VIDEO_TABLE_TV_RECORD = 5,
  VIDEO_TABLE_SUMMARY = 6,
  VIDEO_TABLE_PLUS_INFO = 7,
  VIDEO_TABLE_POSTER = 8,
  VIDEO_TABLE_WRITER = 9,
  VIDEO_TABLE_DIRECTOR = 10,
  VIDEO_TABLE_ACTOR = 11,
  VIDEO_TABLE_GNERE = 12,
  VIDEO_TABLE_COLLECTION = 13,
  VIDEO_TABLE_COLLECTION_MAP = 14,
  VIDEO_TABLE_VIDEO_FILE = 15,
  VIDEO_TABLE_MAPPER = 16
};

// The browse categories of the metadata API.
enum _VIDEO_CATEGORY_ : int32_t {
  VIDEO_CATEGORY_ACTOR = 1,
  VIDEO_CATEGORY_DIRECTOR = 2,
  VIDEO_CATEGORY_WRITER = 3,
  VIDEO_CATEGORY_GENRE = 4,
  VIDEO_CATEGORY_YEAR = 5
};

// Sort direction: 1 is ascending ("ASC"); every other value is descending.
enum _ORDER_DIRECTION_ : int32_t { ORDER_DIRECTION_DESC = 0, ORDER_DIRECTION_ASC = 1 };

// Bit set of the extra blocks the metadata API adds to an item; each bit
// names the table whose rows make up its block.
enum _VIDEO_ADDITIONAL_ : uint32_t {
  VIDEO_ADDITIONAL_NONE = 0,
  VIDEO_ADDITIONAL_SUMMARY = 0x1,
  VIDEO_ADDITIONAL_PLUS_INFO = 0x2,
  VIDEO_ADDITIONAL_TVSHOW_EPISODE = 0x4,
  VIDEO_ADDITIONAL_ACTOR = 0x8,
  VIDEO_ADDITIONAL_DIRECTOR = 0x10,
  VIDEO_ADDITIONAL_WRITER = 0x20,
  VIDEO_ADDITIONAL_GNERE = 0x40,
  VIDEO_ADDITIONAL_VIDEO_FILE = 0x80,
  VIDEO_ADDITIONAL_COLLECTION = 0x100,
  VIDEO_ADDITIONAL_TVSHOW_SUMMARY = 0x200,
  VIDEO_ADDITIONAL_TVSHOW_PLUS_INFO = 0x400
};

// The action of a filter request: listing (filter values are ids) or
// searching (filter values are name fragments).
enum _VIDEO_ACTION_CAP_ : int32_t { VIDEO_ACTION_LIST = 1, VIDEO_ACTION_SEARCH = 2 };

// One decoded database row. A flat record without pointers or owned
// resources, copied by value between the layers. Every text is a
// NUL-terminated array holding at most its capacity minus one bytes; dates
// stay text exactly as the database prints them. Fields whose column a query
// does not have are empty or 0.
struct _VIDEO_INFO_ALL_ {
  int32_t id;
  int32_t tvshow_id;
  int32_t mapper_id;
  char title[255];
  char tag_line[255];
  char sort_title[255];
  char summary[4096];
  char year[10];
  char originally_available[32];
  char create_date[32];
  char modify_date[32];
  char extra[4096];  // never filled by row decoding
  char writer[255];
  char director[255];
  char gnere[255];
  char actor[255];
  char plus_info[4096];
  char isLock[12];  // the database's boolean text, "t" or "f"
  int32_t season;
  int32_t episode;
  int32_t tvshow_mapper_id;
  char tvshow_year[10];
  char tvshow_originally_available[32];
  char path[4096];
  int64_t filesize;
  int32_t duration;  // seconds
  char container_type[255];
  char video_codec[255];
  char audio_codec[255];
  int32_t resolutionX;
  int32_t resolutionY;
  int32_t frame_bitrate;
  int32_t video_bitrate;
  int32_t audio_bitrate;
  int32_t channel;
  char record_time[32];
  char channel_name[255];
  char type[50];  // the _VIDEO_TYPE_ name of the row's mapper
  int32_t collection_id;
};

// Returns the name of `type` ("movie", "tvshow_episode", ...), or "invalid"
// for 0 and for any value that names no type. The text is static; never null.
KINOLOT_EXPORT const char* VideoTypeGetName(_VIDEO_TYPE_ type);

// Returns 0 for every input, null included. The name table is searched, but
// the result is deliberately never a type: no caller may use this function to
// map a name to a type.
KINOLOT_EXPORT _VIDEO_TYPE_ VideoTypeGetType(const char* name);

}  // namespace LibKinolot

#endif  // KINOLOT_VIDEO_TYPES_H_
