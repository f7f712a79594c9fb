// .nfo sidecars: the XML files that media managers write beside a video
// (<movie>, <episodedetails>) or into a show's folder (<tvshow>), read for the
// title, year, release date, plot, tag line, genres and people.
#ifndef KINOLOT_TOOLS_SCAN_NFO_READER_H_
#define KINOLOT_TOOLS_SCAN_NFO_READER_H_

#include <list>
#include <string>

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
};

// Reads the .nfo file at `path` into `info`. Returns false, with the reason in
// `error`, when the file cannot be read or is not well-formed XML with one of
// the roots movie, episodedetails, tvshow, musicvideo or video; `info` may then be
// partly filled. Texts are trimmed; empty elements count as absent.
bool ReadNfo(const std::string& path, NfoInfo* info, std::string* error);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_NFO_READER_H_
