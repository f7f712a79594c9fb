// The name tables of video types and table types, and their look-ups.
//
// Both tables are static arrays of (value, name) pairs ending with a null
// name; the first entry, "invalid", is only ever the fall-back, never a match.
#include "foundation/video_types.h"

#include <strings.h>

namespace LibKinolot {
namespace {

struct NameEntry {
  int value;
  const char* name;
};

const NameEntry kVideoTypeNames[] = {
    {VIDEO_TYPE_INVALID, "invalid"},       {VIDEO_TYPE_MOVIE, "movie"},
    {VIDEO_TYPE_TVSHOW, "tvshow"},         {VIDEO_TYPE_TVSHOW_EPISODE, "tvshow_episode"},
    {VIDEO_TYPE_HOME_VIDEO, "home_video"}, {VIDEO_TYPE_TV_RECORD, "tv_record"},
    {VIDEO_TYPE_VIDEO_FILE, "video_file"}, {0, nullptr},
};

const NameEntry kTableTypeNames[] = {
    {VIDEO_TABLE_INVALID, "invalid"},
    {VIDEO_TABLE_MOVIE, "movie"},
    {VIDEO_TABLE_TVSHOW, "tvshow"},
    {VIDEO_TABLE_TVSHOW_EPISODE, "tvshow_episode"},
    {VIDEO_TABLE_HOME_VIDEO, "home_video"},
    {VIDEO_TABLE_TV_RECORD, "tv_record"},
    {VIDEO_TABLE_SUMMARY, "summary"},
    {VIDEO_TABLE_PLUS_INFO, "plus_info"},
    {VIDEO_TABLE_POSTER, "poster"},
    {VIDEO_TABLE_WRITER, "writer"},
    {VIDEO_TABLE_DIRECTOR, "director"},
    {VIDEO_TABLE_ACTOR, "actor"},
    {VIDEO_TABLE_GNERE, "gnere"},  // the schema's spelling of "genre"
    {VIDEO_TABLE_COLLECTION, "collection"},
    {VIDEO_TABLE_COLLECTION_MAP, "collection_map"},
    {VIDEO_TABLE_VIDEO_FILE, "video_file"},
    {VIDEO_TABLE_MAPPER, "mapper"},
    {0, nullptr},
};

const char* NameOf(const NameEntry* table, int value) {
  if (value == 0) return table[0].name;
  for (const NameEntry* entry = table + 1; entry->name != nullptr; ++entry) {
    if (entry->value == value) return entry->name;
  }
  return table[0].name;
}

}  // namespace

const char* VideoTypeGetName(_VIDEO_TYPE_ type) {
  return NameOf(kVideoTypeNames, type);
}

const char* VideoTableTypeGetName(_VIDEO_TABLE_TYPE_ type) {
  return NameOf(kTableTypeNames, type);
}

_VIDEO_TYPE_ VideoTypeGetType(const char* name) {
  if (name == nullptr) return VIDEO_TYPE_INVALID;
  // The walk finds the entry but its value is deliberately not returned:
  // callers must not rely on this function to map a name to a type.
  for (const NameEntry* entry = kVideoTypeNames; entry->name != nullptr; ++entry) {
    if (strcasecmp(entry->name, name) == 0) break;
  }
  return VIDEO_TYPE_INVALID;
}

}  // namespace LibKinolot
