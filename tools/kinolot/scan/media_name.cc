// Names to titles; see media_name.h.
#include "media_name.h"

#include <cstdlib>
#include <ctime>
#include <regex>
#include <set>
#include <vector>

namespace kinolot_scan {
namespace {

using LibKinolot::VIDEO_TYPE_HOME_VIDEO;
using LibKinolot::VIDEO_TYPE_MOVIE;
using LibKinolot::VIDEO_TYPE_TV_RECORD;
using LibKinolot::VIDEO_TYPE_TVSHOW_EPISODE;

const std::regex::flag_type kIcase = std::regex::ECMAScript | std::regex::icase;

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

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

bool IsSeparator(char c) {
  return c == ' ' || c == '.' || c == '_' || c == '-' || c == ',' || c == ':';
}

std::string TrimSeparators(const std::string& text) {
  size_t begin = 0, end = text.size();
  while (begin < end && IsSeparator(text[begin])) ++begin;
  while (end > begin && IsSeparator(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

// Release tags: where one stands, the title is over.
const std::set<std::string>& ReleaseTags() {
  // Words that are also plain English ("web", "complete", "limited") are left
  // out: "Charlotte's Web" keeps its last word.
  static const std::set<std::string> tags = {
      "4k",     "uhd",     "bluray",   "blu-ray", "bdrip", "brrip", "bdremux", "dvdrip",
      "dvdscr", "hdrip",   "webrip",   "web-dl",  "webdl", "hdtv",  "pdtv",    "x264",
      "x265",   "h264",    "h265",     "hevc",    "xvid",  "divx",  "aac",     "ac3",
      "eac3",   "dts",     "dts-hd",   "truehd",  "atmos", "ddp5",  "dd5",     "remux",
      "proper", "repack",  "extended", "unrated", "hdr10", "10bit", "8bit",    "subbed",
      "dubbed", "readnfo", "amzn",     "dsnp",    "hmax"};
  return tags;
}

bool IsReleaseTag(const std::string& token) {
  static const std::regex resolution("^\\d{3,4}[pi]$", kIcase);
  std::string word = Lower(token);
  if (ReleaseTags().count(word)) return true;
  // "x264-GRP": the group's name hangs on the last tag.
  size_t dash = word.find('-');
  if (dash != std::string::npos && dash > 0 && ReleaseTags().count(word.substr(0, dash))) {
    return true;
  }
  return std::regex_match(word, resolution);
}

// A year that can stand in a title's name: four digits from 1900 up to next year.
int YearOf(const std::string& token, bool parenthesised) {
  std::string digits = token;
  if (parenthesised) {
    if (digits.size() != 6 || digits.front() != '(' || digits.back() != ')') return 0;
    digits = digits.substr(1, 4);
  }
  if (digits.size() != 4) return 0;
  for (char c : digits) {
    if (c < '0' || c > '9') return 0;
  }
  int year = std::atoi(digits.c_str());
  time_t now = time(nullptr);
  struct tm today {};
  gmtime_r(&now, &today);
  return year >= 1900 && year <= today.tm_year + 1900 + 1 ? year : 0;
}

std::vector<std::string> Words(const std::string& name) {
  std::string text = TrimSeparators(name);
  // Bracketed groups hold release groups and checksums, never the title.
  static const std::regex bracketed("\\[[^\\]]*\\]|\\{[^}]*\\}");
  text = std::regex_replace(text, bracketed, " ");
  for (size_t i = 0; i < text.size(); ++i) {
    // A dot followed by a blank ends an abbreviation ("Mr. Robot") and stays.
    if (text[i] == '_' || (text[i] == '.' && i + 1 < text.size() && text[i + 1] != ' ')) {
      text[i] = ' ';
    }
  }
  std::vector<std::string> words;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find(' ', pos);
    if (end == std::string::npos) end = text.size();
    if (end > pos) words.push_back(text.substr(pos, end - pos));
    pos = end + 1;
  }
  return words;
}

// CleanTitle's work. `keep_first` keeps a release tag or year in first place
// as part of the title ("1917", "2012"); an episode's title after its marker
// may be nothing but tags, and then it is empty.
std::string Clean(const std::string& name, int* year, bool keep_first) {
  *year = 0;
  std::vector<std::string> words = Words(name);
  size_t first = keep_first ? 1 : 0;
  size_t end = words.size();
  for (size_t i = first; i < words.size(); ++i) {
    if (IsReleaseTag(words[i])) {
      end = i;
      break;
    }
  }
  // A year in parentheses is the surest; otherwise the last year standing
  // after the first word ("2001 A Space Odyssey 1968").
  size_t year_at = end;
  for (size_t i = end; i-- > first;) {
    if ((*year = YearOf(words[i], true)) != 0) {
      year_at = i;
      break;
    }
  }
  if (*year == 0) {
    for (size_t i = end; i-- > first;) {
      if ((*year = YearOf(words[i], false)) != 0) {
        year_at = i;
        break;
      }
    }
  }
  std::string title;
  for (size_t i = 0; i < year_at; ++i) {
    if (!title.empty()) title += ' ';
    title += words[i];
  }
  return TrimSeparators(title);
}

// An episode marker found in a name: where it stands and what it says.
struct Marker {
  size_t begin = 0, end = 0;
  int season = 0, episode = 0;
};

bool FindMarker(const std::string& stem, Marker* marker) {
  // S01E02, s1e2, S01.E02, 1x02, Season 1 Episode 2; each must stand apart
  // from the letters and digits around it, so that "1920x1080" is no marker.
  static const std::regex patterns[] = {
      std::regex("(^|[^a-z0-9])s(\\d{1,3})[ ._-]*e(\\d{1,4})(?![0-9])", kIcase),
      std::regex("(^|[^a-z0-9])(\\d{1,2})x(\\d{2,3})(?![a-z0-9])", kIcase),
      std::regex("(^|[^a-z])season[ ._-]*(\\d{1,3})[ ._-]*episode[ ._-]*(\\d{1,4})", kIcase)};
  bool found = false;
  for (const std::regex& pattern : patterns) {
    std::smatch match;
    if (!std::regex_search(stem, match, pattern)) continue;
    size_t begin = static_cast<size_t>(match.position(0) + match.length(1));
    if (found && begin >= marker->begin) continue;
    found = true;
    marker->begin = begin;
    marker->end = static_cast<size_t>(match.position(0) + match.length(0));
    marker->season = std::atoi(match.str(2).c_str());
    marker->episode = std::atoi(match.str(3).c_str());
  }
  return found;
}

// "Season 1", "Series 02", "S03", "Specials" (season 0). -1 for other names.
int SeasonOfFolder(const std::string& folder) {
  static const std::regex season("^(?:season|series|saison|staffel|temporada)[ ._-]*(\\d{1,3})$",
                                 kIcase);
  static const std::regex short_season("^s(\\d{1,3})$", kIcase);
  std::smatch match;
  if (std::regex_match(folder, match, season) || std::regex_match(folder, match, short_season)) {
    return std::atoi(match.str(1).c_str());
  }
  return Lower(folder) == "specials" ? 0 : -1;
}

// The episode number of a name inside a season folder without a full
// marker: "E02", "Ep 2", "Episode 2", or a number first ("02 - Title").
bool FindEpisodeNumber(const std::string& stem, Marker* marker) {
  static const std::regex named("(^|[^a-z0-9])(?:episode|ep|e)[ ._-]*(\\d{1,4})(?![0-9])", kIcase);
  static const std::regex leading("^()(\\d{1,4})(?![0-9])");
  std::smatch match;
  if (std::regex_search(stem, match, named) || std::regex_search(stem, match, leading)) {
    marker->begin = static_cast<size_t>(match.position(0) + match.length(1));
    marker->end = static_cast<size_t>(match.position(0) + match.length(0));
    marker->episode = std::atoi(match.str(2).c_str());
    return true;
  }
  return false;
}

// What follows an episode's marker: further episode numbers of a
// double episode ("-E03") go, the rest is the episode's title.
std::string EpisodeTitle(const std::string& rest) {
  static const std::regex more_episodes("^([ ._-]*e\\d{1,4})+", kIcase);
  int ignored = 0;
  return Clean(std::regex_replace(rest, more_episodes, ""), &ignored, false);
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

MediaName Movie(const std::string& stem, const std::string& dir) {
  MediaName name;
  name.type = VIDEO_TYPE_MOVIE;
  name.title = Clean(stem, &name.year, true);
  // "Title (2009)/title.mkv": a folder named with a year speaks for a file
  // named without one.
  int folder_year = 0;
  std::string folder_title = Clean(BaseName(dir), &folder_year, true);
  if (name.year == 0 && folder_year != 0 && !folder_title.empty()) {
    name.title = folder_title;
    name.year = folder_year;
  }
  return name;
}

MediaName Episode(const std::string& stem, const std::string& dir, bool forced) {
  MediaName name;
  name.type = VIDEO_TYPE_TVSHOW_EPISODE;
  std::string parent = BaseName(dir);
  int folder_season = SeasonOfFolder(parent);
  Marker marker;
  bool full_marker = FindMarker(stem, &marker);
  if (!full_marker) {
    if (folder_season < 0 && !forced) return Movie(stem, dir);
    if (FindEpisodeNumber(stem, &marker)) {
      marker.season = folder_season >= 0 ? folder_season : 1;
    } else {
      marker = Marker{};
      marker.season = folder_season >= 0 ? folder_season : 0;
    }
  }
  name.season = marker.season;
  name.episode = marker.episode;
  name.episode_title = marker.end > 0 ? EpisodeTitle(stem.substr(marker.end)) : "";

  int prefix_year = 0;
  std::string prefix = Clean(stem.substr(0, marker.begin), &prefix_year, true);
  if (folder_season >= 0) {
    // Show/Season 1/...: the show folder's name is the one the user chose.
    name.show_folder = DirName(dir);
    name.title = Clean(BaseName(name.show_folder), &name.year, true);
    if (name.year == 0) name.year = prefix_year;
  } else {
    int parent_year = 0;
    std::string parent_title = Clean(parent, &parent_year, true);
    if (prefix.empty() || Lower(prefix) == Lower(parent_title)) name.show_folder = dir;
    name.title = prefix.empty() ? parent_title : prefix;
    name.year = prefix.empty() ? parent_year : prefix_year;
  }
  if (name.title.empty()) name.title = prefix.empty() ? TrimSeparators(stem) : prefix;
  if (!full_marker && marker.end == 0 && name.episode_title.empty()) {
    int ignored = 0;
    name.episode_title = Clean(stem, &ignored, true);
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
  for (const std::string& word : Words(rest)) {
    name.title += name.title.empty() ? word : " " + word;
  }
  name.title = TrimSeparators(name.title);
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

std::string CleanTitle(const std::string& name, int* year) {
  return Clean(name, year, true);
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
