// What a video file is, read from its name and the folders around it, the
// way people name their files: "Title (2009).mkv",
// "Title.2009.1080p.BluRay.x264-GRP.mkv", "Show - S01E02 - Episode title.mkv",
// "Show/Season 1/02 - Episode title.mkv". Pure text work: nothing here
// touches the disk.
#ifndef KINOLOT_TOOLS_SCAN_MEDIA_NAME_H_
#define KINOLOT_TOOLS_SCAN_MEDIA_NAME_H_

#include <string>

#include "kinolot/video_types.h"

namespace kinolot_scan {

// How the files of one scanned folder are to be taken.
enum class ScanKind { kAuto, kMovies, kShows, kHome, kRecordings };

// Parses "auto", "movies", "shows", "home" or "recordings". Returns false,
// leaving `kind` alone, for any other text.
bool ParseScanKind(const std::string& text, ScanKind* kind);

struct MediaName {
  // VIDEO_TYPE_MOVIE, VIDEO_TYPE_TVSHOW_EPISODE, VIDEO_TYPE_HOME_VIDEO or
  // VIDEO_TYPE_TV_RECORD.
  LibKinolot::_VIDEO_TYPE_ type = LibKinolot::VIDEO_TYPE_MOVIE;
  // The movie's, home video's or recording's title; for an episode the
  // title of its show. Never empty: the bare file name is the last resort.
  std::string title;
  int year = 0;  // the movie's year, or the show's; 0 when the name has none
  int season = 0;
  int episode = 0;
  std::string episode_title;  // the text after an episode's number, if any
  // A date written in the name of a home video or recording, as
  // "YYYY-MM-DD" or "YYYY-MM-DD HH:MM:SS"; empty when there is none.
  std::string date;
  // The folder that holds the whole show ("/tv/Show" for
  // "/tv/Show/Season 1/x.mkv"), where the show's own sidecars stand; empty
  // when the layout shows none.
  std::string show_folder;
};

// Reads what the file at the absolute path `path` is. With ScanKind::kAuto
// the rules go in this order: an episode marker in the name (S01E02, 1x02,
// see episode_marker.h); outside season folders, a season-and-episode number
// in a TV release or a fan-subbed running number; a season folder (the
// episode's number then from the name); a release folder marked as an
// episode around a file named in shorthand; else a movie, named by its
// folder when the folder has a year and the file none. The other kinds force
// theirs. A show's title comes from its show folder, or from the folder that
// holds the file when the file names it the same way (by TitleKey) or not
// at all.
MediaName NameMedia(const std::string& path, ScanKind kind);

// Turns a file or folder name into a title and year: dots (in names without
// blanks) and underscores become blanks, dotted acronyms stay ("S.W.A.T."),
// groups in front ("[GRP]") go, and the title ends where a group, a release
// tag or an edition phrase begins; the rules and their order are those of
// ReadTitle (title_reader.h). `year` is 0 when the name has none.
std::string CleanTitle(const std::string& name, int* year);

// The form by which two spellings of one title are told to be the same:
// lower case, letters and digits only, "&" read as "and" ("Marvel's Agents
// of S.H.I.E.L.D." and "Marvels Agents of SHIELD" have one key).
std::string TitleKey(const std::string& title);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_MEDIA_NAME_H_
