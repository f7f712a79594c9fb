// Names to titles; see media_name.h.
#include "media_name.h"

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <vector>

#include "episode_marker.h"
#include "name_tokens.h"
#include "release_words.h"
#include "title_reader.h"

namespace kinolot_scan {
namespace {

using LibKinolot::VIDEO_TYPE_HOME_VIDEO;
using LibKinolot::VIDEO_TYPE_MOVIE;
using LibKinolot::VIDEO_TYPE_TV_RECORD;
using LibKinolot::VIDEO_TYPE_TVSHOW_EPISODE;

std::string BaseName(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string DirName(const std::string& path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return "";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string Stem(const std::string& file_name) {
  size_t dot = file_name.rfind('.');
  return dot == std::string::npos || dot == 0 ? file_name : file_name.substr(0, dot);
}

// What follows an episode's marker: further episode numbers of a double
// episode ("-E03") go, the rest is the episode's title.
std::string EpisodeTitle(const std::string& rest) {
  int ignored = 0;
  return ReadTitle(rest.substr(SkipFurtherEpisodes(rest, 0)), &ignored, false);
}

// A date written in a name: 2019-07-14, 2019.07.14, 20190714, with a time of
// day behind it (20-15, 20.15.00, 201500) when there is one.
bool FindDate(const std::string& stem, std::string* date, size_t* begin, size_t* end) {
  static const std::regex pattern(
      "(^|[^0-9])((19|20)\\d\\d)([-._]?)(\\d\\d)\\4(\\d\\d)"
      "(?:[ _T.-]+(\\d\\d)[-.:h]?(\\d\\d)(?:[-.:m]?(\\d\\d))?)?(?![0-9])");
  std::smatch match;
  if (!std::regex_search(stem, match, pattern)) return false;
  int month = std::atoi(match.str(5).c_str()), day = std::atoi(match.str(6).c_str());
  if (month < 1 || month > 12 || day < 1 || day > 31) return false;
  *date = match.str(2) + "-" + match.str(5) + "-" + match.str(6);
  if (match[7].matched) {
    int hour = std::atoi(match.str(7).c_str()), minute = std::atoi(match.str(8).c_str());
    if (hour < 24 && minute < 60) {
      *date += " " + match.str(7) + ":" + match.str(8) + ":" +
               (match[9].matched ? match.str(9) : std::string("00"));
    }
  }
  *begin = static_cast<size_t>(match.position(0) + match.length(1));
  *end = static_cast<size_t>(match.position(0) + match.length(0));
  return true;
}

// "CD1", "Disc 2", "Part1": a folder holding one part of a movie.
bool IsPartFolder(const std::string& folder) {
  std::string lower = LowerAscii(folder);
  for (const char* word : {"cd", "disc", "disk", "part", "dvd"}) {
    size_t length = std::char_traits<char>::length(word);
    if (lower.compare(0, length, word) != 0) continue;
    size_t digits = lower.find_first_not_of(" ._-", length);
    return digits != std::string::npos && digits < lower.size() &&
           lower.find_first_not_of("0123456789", digits) == std::string::npos;
  }
  return false;
}

MediaName Movie(const std::string& stem, const std::string& dir) {
  if (IsPartFolder(BaseName(dir))) return Movie(stem, DirName(dir));
  MediaName name;
  name.type = VIDEO_TYPE_MOVIE;
  name.title = ReadTitle(stem, &name.year, true);
  // "Title (2009)/title.mkv", "Some.Movie.2010.DVDRip-GRP/grp-smv.avi": a
  // folder named with a year speaks for a file named without one.
  int folder_year = 0;
  std::string folder_title = ReadTitle(BaseName(dir), &folder_year, true);
  if (name.year == 0 && folder_year != 0 && !folder_title.empty()) {
    name.title = folder_title;
    name.year = folder_year;
  }
  return name;
}

MediaName Episode(const std::string& stem, const std::string& dir, bool forced);

// The show of an episode whose folder is no season folder: the folder's
// name when the file's name says nothing else (or the same, spelt another
// way: "Marvel's ..." and "Marvels ..."), the file's name otherwise. A
// release folder marked with the file's own episode names the show for a
// file named in shorthand.
void ShowFromFolder(const std::string& dir, const EpisodeMarker& marker, const std::string& prefix,
                    int prefix_year, MediaName* name) {
  std::string parent = BaseName(dir);
  EpisodeMarker own;
  bool release = FindEpisodeMarker(parent, &own) && own.season == marker.season &&
                 own.episode == marker.episode;
  int parent_year = 0;
  std::string parent_title =
      ReadTitle(release ? parent.substr(0, own.begin) : parent, &parent_year, true);
  bool same = prefix.empty() || TitleKey(prefix) == TitleKey(parent_title);
  if (same && !release) name->show_folder = dir;
  if ((same || release) && !parent_title.empty()) {
    name->title = parent_title;
    name->year = parent_year != 0 ? parent_year : prefix_year;
  } else {
    name->title = prefix;
    name->year = prefix_year;
  }
}

// The show of an episode in a season folder: the show folder's name, the one
// the user chose, or the name in front of the season ("Show Season 2").
void ShowFromSeasonFolder(const std::string& dir, const std::string& season_show, int prefix_year,
                          MediaName* name) {
  std::string show_dir = DirName(dir);
  int show_year = 0;
  std::string show_title = ReadTitle(BaseName(show_dir), &show_year, true);
  if (season_show.empty() ||
      TitleKey(ReadTitle(season_show, &show_year, true)) == TitleKey(show_title)) {
    name->show_folder = show_dir;
    name->title = show_title;
  } else {
    name->show_folder = dir;
    name->title = ReadTitle(season_show, &show_year, true);
  }
  name->year = show_year != 0 ? show_year : prefix_year;
}

// Where the name holds no full marker, the layout may still say "episode":
// a season folder, a forced kind, or a release folder marked as one episode
// around a file named in shorthand ("Show.S02E05.720p-GRP/160725_02.mkv").
// Fills `marker` and returns true for an episode; otherwise fills `movie`.
bool EpisodeByLayout(const std::string& stem, const std::string& dir, int folder_season,
                     bool forced, EpisodeMarker* marker, MediaName* movie) {
  if (folder_season >= 0 || forced) {
    if (FindEpisodeNumber(stem, folder_season, marker)) {
      marker->season = folder_season >= 0 ? folder_season : 1;
    } else {
      *marker = EpisodeMarker{};
      marker->season = std::max(folder_season, 0);
    }
    return true;
  }
  std::string parent = BaseName(dir);
  EpisodeMarker folder_marker;
  if (!parent.empty() && FindEpisodeMarker(parent, &folder_marker)) {
    *movie = Episode(parent, DirName(dir), false);
  } else {
    *movie = Movie(stem, dir);
  }
  return false;
}

MediaName Episode(const std::string& stem, const std::string& dir, bool forced) {
  MediaName name;
  name.type = VIDEO_TYPE_TVSHOW_EPISODE;
  std::string season_show;
  int folder_season = SeasonOfFolder(BaseName(dir), &season_show);
  EpisodeMarker marker;
  bool full_marker = FindEpisodeMarker(stem, &marker) ||
                     (folder_season < 0 &&
                      (FindCombinedNumber(stem, &marker) || FindAbsoluteNumber(stem, &marker)));
  if (!full_marker && !EpisodeByLayout(stem, dir, folder_season, forced, &marker, &name)) {
    return name;
  }
  name.season = marker.season;
  name.episode = marker.episode;
  name.episode_title = marker.end > 0 ? EpisodeTitle(stem.substr(marker.end)) : "";

  int prefix_year = 0;
  std::string prefix = ReadTitle(stem.substr(0, marker.begin), &prefix_year, true);
  if (folder_season >= 0) {
    ShowFromSeasonFolder(dir, season_show, prefix_year, &name);
  } else {
    ShowFromFolder(dir, marker, prefix, prefix_year, &name);
  }
  if (name.title.empty()) name.title = prefix.empty() ? TrimSeparators(stem) : prefix;
  if (!full_marker && marker.end == 0 && name.episode_title.empty()) {
    int ignored = 0;
    name.episode_title = ReadTitle(stem, &ignored, true);
  }
  return name;
}

MediaName Dated(const std::string& stem, LibKinolot::_VIDEO_TYPE_ type) {
  MediaName name;
  name.type = type;
  size_t begin = 0, end = 0;
  std::string rest = stem;
  if (FindDate(stem, &name.date, &begin, &end)) {
    rest = stem.substr(0, begin) + " " + stem.substr(end);
  }
  // Square and curly groups hold checksums and groups, never the title.
  std::vector<NameToken> tokens = TokenizeName(rest);
  tokens.erase(
      std::remove_if(tokens.begin(), tokens.end(),
                     [](const NameToken& t) { return t.bracket == '[' || t.bracket == '{'; }),
      tokens.end());
  name.title = JoinTitle(tokens, 0, tokens.size());
  if (name.title.empty()) name.title = TrimSeparators(stem);
  return name;
}

}  // namespace

bool ParseScanKind(const std::string& text, ScanKind* kind) {
  static const std::pair<const char*, ScanKind> kinds[] = {{"auto", ScanKind::kAuto},
                                                           {"movies", ScanKind::kMovies},
                                                           {"shows", ScanKind::kShows},
                                                           {"home", ScanKind::kHome},
                                                           {"recordings", ScanKind::kRecordings}};
  for (const auto& entry : kinds) {
    if (text == entry.first) {
      *kind = entry.second;
      return true;
    }
  }
  return false;
}

std::string TitleKey(const std::string& title) {
  std::string key;
  for (char c : LowerAscii(title)) {
    if (c == '&') {
      key += "and";
    } else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || (c & 0x80)) {
      key += c;
    }
  }
  return key;
}

std::string CleanTitle(const std::string& name, int* year) {
  return ReadTitle(name, year, true);
}

MediaName NameMedia(const std::string& path, ScanKind kind) {
  std::string dir = DirName(path);
  std::string stem = Stem(BaseName(path));
  MediaName name;
  switch (kind) {
    case ScanKind::kMovies:
      name = Movie(stem, dir);
      break;
    case ScanKind::kShows:
      name = Episode(stem, dir, true);
      break;
    case ScanKind::kHome:
      name = Dated(stem, VIDEO_TYPE_HOME_VIDEO);
      break;
    case ScanKind::kRecordings:
      name = Dated(stem, VIDEO_TYPE_TV_RECORD);
      break;
    case ScanKind::kAuto:
      name = Episode(stem, dir, false);
      break;
  }
  if (name.title.empty()) name.title = stem;
  return name;
}

}  // namespace kinolot_scan
