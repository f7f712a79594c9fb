// The word tables of release names; see release_words.h.
#include "release_words.h"

#include <cstdlib>
#include <ctime>
#include <unordered_set>

namespace kinolot_scan {
namespace {

using Words = std::unordered_set<std::string>;

// Resolutions, sources, codecs, picture and audio formats, streaming
// services and the scene's own words. Words that are also plain English
// ("web", "complete", "limited") are weak tags instead.
const Words& Tags() {
  static const Words words = {
      // resolutions and picture
      "4k", "8k", "uhd", "hdr", "hdr10", "hdr10+", "hdr10plus", "dovi", "sdr", "10bit", "8bit",
      "12bit", "10-bit", "hi10p", "3d", "hsbs", "hou", "sbs", "imax",
      // sources
      "bluray", "blu-ray", "bdrip", "brrip", "bdremux", "bdmv", "bd25", "bd50", "remux", "dvdrip",
      "dvdscr", "dvdr", "dvd5", "dvd9", "dvd", "hddvd", "hdrip", "webrip", "web-rip", "web-dl",
      "webdl", "hdtv", "hdtvrip", "pdtv", "sdtv", "tvrip", "satrip", "dsr", "dsrip", "dvbrip",
      "hdcam", "camrip", "hdts", "telesync", "telecine", "vhsrip", "vodrip", "ppvrip", "screener",
      "dvdscreener", "r5", "hdc",
      // video codecs
      "x264", "x265", "h264", "h265", "hevc", "avc", "xvid", "divx", "av1", "vp9", "mpeg2", "mpeg4",
      "vc1", "vc-1",
      // audio
      "aac", "aac2", "aac5", "ac3", "ac3d", "ac3md", "eac3", "dd2", "dd5", "dd7", "ddp", "ddp2",
      "ddp5", "ddp7", "dd+", "dts", "dts-hd", "dtshd", "dts-ma", "dtsma", "dts-x", "truehd",
      "atmos", "flac", "mp3", "opus", "lpcm", "pcm", "2ch", "6ch", "8ch",
      // streaming services
      "amzn", "dsnp", "hmax", "atvp", "pcok", "hulu", "nf", "itunes",
      // the scene's own words and edition words that are no plain English
      "proper", "repack", "rerip", "internal", "readnfo", "nfofix", "subbed", "dubbed", "hardsub",
      "hc", "extended", "unrated", "remastered", "uncensored", "vostfr", "truefrench", "multisubs",
      "vff", "vfq"};
  return words;
}

// Language words and the scene's short words, which stand before a year
// only as tags ("Der.Film.German.2010").
const Words& WeakTags() {
  static const Words words = {
      "french",     "german",     "spanish", "italian", "english",   "dutch",    "swedish",
      "danish",     "norwegian",  "finnish", "polish",  "russian",   "japanese", "korean",
      "chinese",    "portuguese", "hindi",   "turkish", "hungarian", "czech",    "nordic",
      "castellano", "latino",     "ita",     "eng",     "ger",       "fre",      "spa",
      "rus",        "vf",         "dl",      "dual",    "multi",     "subs",     "dc",
      "ws",         "fs",         "fansub"};
  return words;
}

// English words that scene names also use as tags: before another tag only
// ("Charlotte's Web 2006" keeps its word, "Title.WEB.H264" does not).
const Words& EnglishTags() {
  static const Words words = {"web",        "limited",     "complete",  "uncut",
                              "theatrical", "criterion",   "directors", "director's",
                              "collectors", "collector's", "retail"};
  return words;
}

const Words& EditionLeads() {
  static const Words words = {"special",     "ultimate",      "anniversary", "final",
                              "deluxe",      "international", "alternate",   "extended",
                              "theatrical",  "directors",     "director's",  "collectors",
                              "collector's", "limited",       "uncut",       "unrated",
                              "remastered",  "criterion",     "diamond",     "platinum"};
  return words;
}

// 480p, 720p, 1080i, 2160p.
bool IsResolution(const std::string& lower) {
  if (lower.size() < 4 || lower.size() > 5) return false;
  char last = lower.back();
  if (last != 'p' && last != 'i') return false;
  for (size_t i = 0; i + 1 < lower.size(); ++i) {
    if (lower[i] < '0' || lower[i] > '9') return false;
  }
  return true;
}

// CD1, Disc2, DVD1: one part of a movie on several files.
bool IsPart(const std::string& lower) {
  for (const char* word : {"cd", "disc", "disk", "dvd"}) {
    size_t length = std::char_traits<char>::length(word);
    if (lower.size() > length && lower.size() <= length + 2 &&
        lower.compare(0, length, word) == 0 &&
        lower.find_first_not_of("0123456789", length) == std::string::npos) {
      return true;
    }
  }
  return false;
}

WordKind KindOfWhole(const std::string& lower) {
  if (Tags().count(lower) || IsResolution(lower) || IsPart(lower)) return WordKind::kTag;
  if (WeakTags().count(lower)) return WordKind::kWeakTag;
  if (EnglishTags().count(lower)) return WordKind::kEnglishTag;
  return WordKind::kPlain;
}

}  // namespace

WordKind KindOfWord(const std::string& lower) {
  WordKind kind = KindOfWhole(lower);
  size_t dash = lower.find('-');
  if (kind != WordKind::kPlain || dash == std::string::npos || dash == 0) return kind;
  // "x264-GRP": the group's name hangs on the last tag.
  return KindOfWhole(lower.substr(0, dash)) == WordKind::kTag ? WordKind::kTag : WordKind::kPlain;
}

bool OpensEdition(const std::string& lower) {
  return EditionLeads().count(lower) != 0;
}

bool IsEditionNoun(const std::string& lower) {
  return lower == "cut" || lower == "edition" || lower == "version";
}

int YearOfWord(const std::string& word) {
  if (word.size() != 4) return 0;
  for (char c : word) {
    if (c < '0' || c > '9') return 0;
  }
  int year = std::atoi(word.c_str());
  static const int kNextYear = [] {
    time_t now = time(nullptr);
    struct tm today {};
    gmtime_r(&now, &today);
    return today.tm_year + 1900 + 1;
  }();
  return year >= 1900 && year <= kNextYear ? year : 0;
}

std::string LowerAscii(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

}  // namespace kinolot_scan
