// .nfo sidecars: the XML files that media managers write beside a video
// (<movie>, <episodedetails>, also wrapped in <episodes>) or into a show's
// folder (<tvshow>), read for the title, year, release date, plot, tag line,
// genres and people, and for the identity and rating fields kept as the
// item's extra information. A file holding nothing but a link to a movie
// database page names the video's identity.
#ifndef KINOLOT_TOOLS_SCAN_NFO_READER_H_
#define KINOLOT_TOOLS_SCAN_NFO_READER_H_

#include <json/value.h>

#include <list>
#include <string>
#include <vector>

namespace kinolot_scan {

struct NfoInfo {
  std::string title;  // an episode's own title for <episodedetails>
  int year = 0;
  std::string date;  // "YYYY-MM-DD" from <premiered>, <aired> or <releasedate>
  std::string plot;  // <plot>, else <outline>
  std::string tag_line;
  int season = -1;  // episode files only; -1 when absent
  int episode = -1;
  std::list<std::string> genres, actors, directors, writers;  // <credits> and <writer> are writers
  // What the library has no column for, as the item's extra information:
  // "ids" (imdb, tmdb, tvdb, ... from <uniqueid>, <id> or a link), "ratings"
  // (by source: "value" and "votes"), "mpaa", "runtime" (minutes), "studio"
  // and "country" (lists). Null when the file has none of them.
  Json::Value extra;
  // Problems the file was read in spite of (text in the wrong encoding).
  std::vector<std::string> warnings;
};

// Reads the .nfo file at `path` into `info`. Returns false, with the reason in
// `error`, when the file cannot be read, or is neither well-formed XML with
// one of the roots movie, episodedetails, episodes, tvshow, musicvideo or
// video nor a link to a movie database page; `info` may then be partly
// filled. Text that is not valid UTF-8 is read as Windows-1252, with a
// warning. Texts are trimmed; empty elements count as absent; list fields
// written as "A, B", "|A|B|" or "A / B" become one entry per name.
bool ReadNfo(const std::string& path, NfoInfo* info, std::string* error);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_NFO_READER_H_
