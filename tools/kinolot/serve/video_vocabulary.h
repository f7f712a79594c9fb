// The names of the kinds of video and of the pieces of additional
// information, one vocabulary for the command line, the HTTP API and the web
// page. Each has one name that answers and messages use, and the other
// spellings people and older clients send:
//
//   kinds   movies (movie), shows (show, tvshow, tvshows), episodes (episode,
//           tvshow_episode), home (home_video, homevideo, homevideos),
//           recordings (recording, tv_record)
//   pieces  summary, extra, episodes (episode), actor (actors), director
//           (directors), writer (writers), genre (genres), files (file),
//           collection (collections), show_summary (tvshow_summary),
//           show_extra (tvshow_extra)
//
// Names are compared without regard to case.
#ifndef KINOLOT_TOOLS_SERVE_VIDEO_VOCABULARY_H_
#define KINOLOT_TOOLS_SERVE_VIDEO_VOCABULARY_H_

#include <cstdint>
#include <string>

#include "kinolot/video_types.h"

namespace kinolot_serve {

// The kind `name` names; VIDEO_TABLE_INVALID for any other text.
LibKinolot::_VIDEO_TABLE_TYPE_ KindFromName(const std::string& name);
// The name of `kind` ("movies" ... "recordings"); "" for other kinds.
const char* KindName(LibKinolot::_VIDEO_TABLE_TYPE_ kind);
// The names of the five kinds for messages: "movies, shows, episodes, home
// or recordings".
const char* KindNames();

// Sets `bits` to the piece `name` names and returns true; false for any other
// text.
bool PieceFromName(const std::string& name, uint32_t& bits);
// The names of the pieces for messages.
const char* PieceNames();

// The additional pieces items of `kind` have: every piece but a show's
// episodes and an episode's show summary and extra, which only shows and
// episodes have; no people or files for shows, no extra for home videos and
// recordings. Other kinds (collection members) get the pieces every kind
// shares. The library would otherwise attach to an item the pieces of
// another kind's item with the same id.
LibKinolot::_VIDEO_ADDITIONAL_ PiecesOf(LibKinolot::_VIDEO_TABLE_TYPE_ kind);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_VIDEO_VOCABULARY_H_
