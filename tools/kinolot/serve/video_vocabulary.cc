// The names of kinds and pieces; see video_vocabulary.h.
#include "video_vocabulary.h"

#include <strings.h>

namespace kinolot_serve {

using namespace LibKinolot;

namespace {

struct Name {
  const char* name;
  unsigned value;
};

// Each kind's own name first.
const Name kKindNames[] = {
    {"movies", VIDEO_TABLE_MOVIE},
    {"shows", VIDEO_TABLE_TVSHOW},
    {"episodes", VIDEO_TABLE_TVSHOW_EPISODE},
    {"home", VIDEO_TABLE_HOME_VIDEO},
    {"recordings", VIDEO_TABLE_TV_RECORD},
    {"movie", VIDEO_TABLE_MOVIE},
    {"show", VIDEO_TABLE_TVSHOW},
    {"tvshow", VIDEO_TABLE_TVSHOW},
    {"tvshows", VIDEO_TABLE_TVSHOW},
    {"episode", VIDEO_TABLE_TVSHOW_EPISODE},
    {"tvshow_episode", VIDEO_TABLE_TVSHOW_EPISODE},
    {"home_video", VIDEO_TABLE_HOME_VIDEO},
    {"homevideo", VIDEO_TABLE_HOME_VIDEO},
    {"homevideos", VIDEO_TABLE_HOME_VIDEO},
    {"recording", VIDEO_TABLE_TV_RECORD},
    {"tv_record", VIDEO_TABLE_TV_RECORD},
};

const Name kPieceNames[] = {
    {"summary", VIDEO_ADDITIONAL_SUMMARY},
    {"extra", VIDEO_ADDITIONAL_PLUS_INFO},
    {"episodes", VIDEO_ADDITIONAL_TVSHOW_EPISODE},
    {"episode", VIDEO_ADDITIONAL_TVSHOW_EPISODE},
    {"actor", VIDEO_ADDITIONAL_ACTOR},
    {"actors", VIDEO_ADDITIONAL_ACTOR},
    {"director", VIDEO_ADDITIONAL_DIRECTOR},
    {"directors", VIDEO_ADDITIONAL_DIRECTOR},
    {"writer", VIDEO_ADDITIONAL_WRITER},
    {"writers", VIDEO_ADDITIONAL_WRITER},
    {"genre", VIDEO_ADDITIONAL_GNERE},
    {"genres", VIDEO_ADDITIONAL_GNERE},
    {"files", VIDEO_ADDITIONAL_VIDEO_FILE},
    {"file", VIDEO_ADDITIONAL_VIDEO_FILE},
    {"collection", VIDEO_ADDITIONAL_COLLECTION},
    {"collections", VIDEO_ADDITIONAL_COLLECTION},
    {"show_summary", VIDEO_ADDITIONAL_TVSHOW_SUMMARY},
    {"tvshow_summary", VIDEO_ADDITIONAL_TVSHOW_SUMMARY},
    {"show_extra", VIDEO_ADDITIONAL_TVSHOW_PLUS_INFO},
    {"tvshow_extra", VIDEO_ADDITIONAL_TVSHOW_PLUS_INFO},
};

template <size_t N>
const Name* Find(const Name (&names)[N], const std::string& name) {
  for (const Name& entry : names)
    if (strcasecmp(entry.name, name.c_str()) == 0) return &entry;
  return nullptr;
}

}  // namespace

_VIDEO_TABLE_TYPE_ KindFromName(const std::string& name) {
  const Name* found = Find(kKindNames, name);
  return found == nullptr ? VIDEO_TABLE_INVALID : static_cast<_VIDEO_TABLE_TYPE_>(found->value);
}

const char* KindName(_VIDEO_TABLE_TYPE_ kind) {
  for (const Name& entry : kKindNames)
    if (entry.value == static_cast<unsigned>(kind)) return entry.name;
  return "";
}

const char* KindNames() {
  return "movies, shows, episodes, home or recordings";
}

bool PieceFromName(const std::string& name, uint32_t& bits) {
  const Name* found = Find(kPieceNames, name);
  if (found != nullptr) bits = found->value;
  return found != nullptr;
}

const char* PieceNames() {
  return "summary, extra, episodes, actor, director, writer, genre, files, collection, "
         "show_summary, show_extra";
}

_VIDEO_ADDITIONAL_ PiecesOf(_VIDEO_TABLE_TYPE_ kind) {
  const uint32_t shared = VIDEO_ADDITIONAL_SUMMARY | VIDEO_ADDITIONAL_PLUS_INFO |
                          VIDEO_ADDITIONAL_ACTOR | VIDEO_ADDITIONAL_DIRECTOR |
                          VIDEO_ADDITIONAL_WRITER | VIDEO_ADDITIONAL_GNERE |
                          VIDEO_ADDITIONAL_VIDEO_FILE | VIDEO_ADDITIONAL_COLLECTION;
  switch (kind) {
    case VIDEO_TABLE_TVSHOW:
      return static_cast<_VIDEO_ADDITIONAL_>(VIDEO_ADDITIONAL_SUMMARY | VIDEO_ADDITIONAL_PLUS_INFO |
                                             VIDEO_ADDITIONAL_TVSHOW_EPISODE);
    case VIDEO_TABLE_TVSHOW_EPISODE:
      return static_cast<_VIDEO_ADDITIONAL_>(shared | VIDEO_ADDITIONAL_TVSHOW_SUMMARY |
                                             VIDEO_ADDITIONAL_TVSHOW_PLUS_INFO);
    case VIDEO_TABLE_HOME_VIDEO:
    case VIDEO_TABLE_TV_RECORD:
      return static_cast<_VIDEO_ADDITIONAL_>(shared & ~VIDEO_ADDITIONAL_PLUS_INFO);
    default:
      return static_cast<_VIDEO_ADDITIONAL_>(shared);
  }
}

}  // namespace kinolot_serve
