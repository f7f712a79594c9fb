// Finding episode markers without regular expressions, one small rule per
// convention; see episode_marker.h.
#include "episode_marker.h"

#include "release_words.h"

namespace kinolot_scan {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool IsAlnum(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsSeparator(char c) {
  return c == ' ' || c == '.' || c == '_' || c == '-';
}

bool StandsApartBefore(const std::string& s, size_t at) {
  return at == 0 || !IsAlnum(s[at - 1]);
}

bool StandsApartAfter(const std::string& s, size_t at) {
  return at >= s.size() || !IsAlnum(s[at]);
}

size_t SkipSeparators(const std::string& s, size_t at) {
  while (at < s.size() && IsSeparator(s[at])) ++at;
  return at;
}

// The run of digits at `at` as a number: its length, or 0 when there is no
// digit there or more than `most` of them.
size_t Digits(const std::string& s, size_t at, size_t most, int* value) {
  size_t end = at;
  while (end < s.size() && IsDigit(s[end])) ++end;
  if (end == at || end - at > most) return 0;
  *value = 0;
  for (size_t i = at; i < end; ++i) *value = *value * 10 + (s[i] - '0');
  return end - at;
}

bool StartsWith(const std::string& s, size_t at, const char* word) {
  return s.compare(at, std::char_traits<char>::length(word), word) == 0;
}

// "e", "ep" or "episode" at `at`: the position after it and the blanks that
// follow, or `at` when there is none.
size_t SkipEpisodeWord(const std::string& s, size_t at) {
  for (const char* word : {"episode", "ep", "e"}) {
    if (StartsWith(s, at, word))
      return SkipSeparators(s, at + std::char_traits<char>::length(word));
  }
  return at;
}

bool Found(size_t begin, size_t end, int season, int episode, EpisodeMarker* marker) {
  marker->begin = begin;
  marker->end = end;
  marker->season = season;
  marker->episode = episode;
  return true;
}

// Rule 1: "S01E02" and its variants.
bool SeasonLetterAt(const std::string& s, size_t at, EpisodeMarker* marker) {
  int season = 0, episode = 0;
  size_t n = s[at] == 's' ? Digits(s, at + 1, 4, &season) : 0;
  if (n == 0) return false;
  size_t p = SkipSeparators(s, at + 1 + n);
  bool cross = p < s.size() && s[p] == 'x';
  if (cross) p = SkipSeparators(s, p + 1);
  size_t q = SkipEpisodeWord(s, p);
  if (q == p && !cross) return false;
  size_t m = Digits(s, q, 4, &episode);
  return m > 0 && Found(at, q + m, season, episode, marker);
}

// Rule 2: "1x02".
bool CrossAt(const std::string& s, size_t at, EpisodeMarker* marker) {
  int season = 0, episode = 0;
  size_t n = Digits(s, at, 2, &season);
  if (n == 0 || at + n >= s.size() || s[at + n] != 'x') return false;
  size_t m = Digits(s, at + n + 1, 3, &episode);
  size_t end = at + n + 1 + m;
  return m > 0 && StandsApartAfter(s, end) && Found(at, end, season, episode, marker);
}

// Rule 3: "Season 1 Episode 2".
bool SeasonWordAt(const std::string& s, size_t at, EpisodeMarker* marker) {
  int season = 0, episode = 0;
  if (!StartsWith(s, at, "season")) return false;
  size_t p = SkipSeparators(s, at + 6);
  size_t n = Digits(s, p, 3, &season);
  if (n == 0) return false;
  p = SkipSeparators(s, p + n);
  if (!StartsWith(s, p, "episode")) return false;
  p = SkipSeparators(s, p + 7);
  size_t m = Digits(s, p, 4, &episode);
  return m > 0 && Found(at, p + m, season, episode, marker);
}

// A number of `least` to `most` digits standing alone at `at`.
size_t LoneNumberAt(const std::string& s, size_t at, size_t least, size_t most, int* value) {
  if (!StandsApartBefore(s, at)) return 0;
  size_t n = Digits(s, at, most, value);
  return n >= least && StandsApartAfter(s, at + n) ? n : 0;
}

// The word at `at` (up to the next separator).
std::string WordAt(const std::string& s, size_t at) {
  size_t end = at;
  while (end < s.size() && !IsSeparator(s[end])) ++end;
  return s.substr(at, end - at);
}

bool HasTelevisionSource(const std::string& s) {
  for (const char* source : {"hdtv", "pdtv", "sdtv", "dsr", "tvrip", "satrip", "dvbrip"}) {
    size_t at = s.find(source);
    if (at != std::string::npos && StandsApartBefore(s, at)) return true;
  }
  return false;
}

}  // namespace

bool FindEpisodeMarker(const std::string& name, EpisodeMarker* marker) {
  std::string s = LowerAscii(name);
  for (size_t at = 0; at < s.size(); ++at) {
    if (!StandsApartBefore(s, at)) continue;
    if (SeasonLetterAt(s, at, marker) || CrossAt(s, at, marker) || SeasonWordAt(s, at, marker)) {
      return true;
    }
  }
  return false;
}

bool FindCombinedNumber(const std::string& name, EpisodeMarker* marker) {
  std::string s = LowerAscii(name);
  if (!HasTelevisionSource(s)) return false;
  for (size_t at = 1; at < s.size(); ++at) {
    int number = 0;
    size_t n = LoneNumberAt(s, at, 3, 4, &number);
    if (n == 0 || number / 100 == 0 || number % 100 == 0) continue;
    if (YearOfWord(s.substr(at, n)) != 0) continue;
    if (KindOfWord(WordAt(s, SkipSeparators(s, at + n))) != WordKind::kTag) continue;
    return Found(at, at + n, number / 100, number % 100, marker);
  }
  return false;
}

bool FindAbsoluteNumber(const std::string& name, EpisodeMarker* marker) {
  std::string s = LowerAscii(name);
  for (char& c : s) c = c == '_' ? ' ' : c;
  bool grouped = !s.empty() && s[0] == '[';
  for (size_t dash = s.find(" - "); dash != std::string::npos; dash = s.find(" - ", dash + 1)) {
    int number = 0;
    size_t n = Digits(s, dash + 3, 4, &number);
    if (n == 0) continue;
    size_t end = dash + 3 + n;
    int version = 0;
    if (end < s.size() && s[end] == 'v') end += 1 + Digits(s, end + 1, 1, &version);
    size_t next = s.find_first_not_of(' ', end);
    // Behind the number: the end, a group, or the episode's title.
    bool closes = next == std::string::npos || s[next] == '[' ||
                  (grouped && (s[next] == '(' || s.compare(end, 3, " - ") == 0));
    if (closes && (grouped || next != std::string::npos)) {
      return Found(dash + 1, end, 1, number, marker);
    }
  }
  return false;
}

bool FindEpisodeNumber(const std::string& name, int season, EpisodeMarker* marker) {
  std::string s = LowerAscii(name);
  int number = 0;
  for (size_t at = 0; at < s.size(); ++at) {
    if (!StandsApartBefore(s, at) || s[at] != 'e') continue;
    size_t p = SkipEpisodeWord(s, at);
    size_t n = Digits(s, p, 4, &number);
    if (n > 0) return Found(at, p + n, 0, number, marker);
  }
  for (size_t at = 0; season > 0 && at < s.size(); ++at) {
    size_t n = LoneNumberAt(s, at, 3, 4, &number);
    if (n > 0 && number / 100 == season && number % 100 > 0) {
      return Found(at, at + n, 0, number % 100, marker);
    }
  }
  size_t n = Digits(s, 0, 4, &number);
  if (n > 0) return Found(0, n, 0, number, marker);
  for (size_t at = 1; at < s.size(); ++at) {
    n = LoneNumberAt(s, at, 1, 3, &number);
    if (n > 0) return Found(at, at + n, 0, number, marker);
  }
  return false;
}

size_t SkipFurtherEpisodes(const std::string& name, size_t at) {
  int ignored = 0;
  for (;;) {
    size_t p = SkipSeparators(name, at);
    size_t n = p < name.size() && (name[p] == 'e' || name[p] == 'E')
                   ? Digits(name, p + 1, 4, &ignored)
                   : 0;
    if (n > 0) {
      at = p + 1 + n;
      continue;
    }
    // "S01E01-02": a bare number right behind a dash.
    n = at < name.size() && name[at] == '-' ? Digits(name, at + 1, 3, &ignored) : 0;
    if (n == 0 || !StandsApartAfter(name, at + 1 + n)) return at;
    at += 1 + n;
  }
}

int SeasonOfFolder(const std::string& folder, std::string* show) {
  show->clear();
  std::string s = LowerAscii(folder);
  size_t begin = s.find_first_not_of(" ");
  if (begin == std::string::npos) return -1;
  size_t end = s.find_last_not_of(" ") + 1;
  // A group behind the season ("Season 1 (2019)", "Season 2 [1080p]") says
  // nothing of it.
  while (end > begin && (s[end - 1] == ')' || s[end - 1] == ']')) {
    size_t open = s.find_last_of(s[end - 1] == ')' ? '(' : '[', end - 1);
    if (open == std::string::npos || open <= begin) break;
    end = s.find_last_not_of(" ", open - 1) + 1;
  }
  if (s.compare(begin, end - begin, "specials") == 0) return 0;
  for (size_t at = begin; at < end; ++at) {
    if (!StandsApartBefore(s, at)) continue;
    size_t p = at;
    for (const char* word : {"season", "series", "saison", "staffel", "temporada", "stagione",
                             "seizoen", "sezon", "s"}) {
      if (StartsWith(s, at, word)) {
        p = at + std::char_traits<char>::length(word);
        break;
      }
    }
    if (p == at) continue;
    int season = 0;
    size_t digits = p;
    if (s[at] != 's' || p != at + 1) digits = SkipSeparators(s, p);
    size_t n = Digits(s, digits, 4, &season);
    if (n == 0 || SkipSeparators(s, digits + n) < end) continue;
    size_t show_end = at;
    while (show_end > begin && IsSeparator(s[show_end - 1])) --show_end;
    *show = folder.substr(begin, show_end - begin);
    return season;
  }
  return -1;
}

}  // namespace kinolot_scan
