// .nfo text work; see nfo_text.h.
#include "nfo_text.h"

#include <algorithm>
#include <cstring>

namespace kinolot_scan {
namespace {

void AppendUtf8(unsigned code, std::string* out) {
  if (code < 0x80) {
    *out += static_cast<char>(code);
  } else if (code < 0x800) {
    *out += static_cast<char>(0xC0 | (code >> 6));
    *out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    *out += static_cast<char>(0xE0 | (code >> 12));
    *out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

std::string Trim(const std::string& text) {
  size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// The run of characters from `at` that `keep` accepts.
template <typename Keep>
std::string RunAt(const std::string& text, size_t at, Keep keep) {
  size_t end = at;
  while (end < text.size() && keep(text[end])) ++end;
  return text.substr(at, end - at);
}

// The id after the first of `markers` in `text`, as `keep` delimits it.
template <typename Keep>
std::string IdAfter(const std::string& text, std::initializer_list<const char*> markers,
                    Keep keep) {
  for (const char* marker : markers) {
    size_t at = text.find(marker);
    if (at == std::string::npos) continue;
    std::string id = RunAt(text, at + std::strlen(marker), keep);
    if (!id.empty()) return id;
  }
  return "";
}

}  // namespace

std::string Windows1252ToUtf8(const std::string& bytes) {
  // 0x80 to 0x9F; 0 where the code page defines nothing.
  static const unsigned kHigh[32] = {
      0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 8);
  for (unsigned char byte : bytes) {
    unsigned code = byte;
    if (byte >= 0x80 && byte < 0xA0) code = kHigh[byte - 0x80] ? kHigh[byte - 0x80] : 0xFFFD;
    AppendUtf8(code, &out);
  }
  return out;
}

bool DeclaresSingleByteEncoding(const std::string& bytes) {
  size_t end = bytes.find("?>");
  if (bytes.compare(0, 5, "<?xml") != 0 || end == std::string::npos) return false;
  std::string declaration = bytes.substr(0, end);
  std::transform(declaration.begin(), declaration.end(), declaration.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  for (const char* name : {"8859", "1250", "1251", "1252", "1253", "1254", "latin"}) {
    if (declaration.find(name) != std::string::npos) return true;
  }
  return false;
}

std::vector<std::string> SplitNames(const std::string& text) {
  std::vector<std::string> names;
  size_t begin = 0;
  while (begin <= text.size()) {
    size_t end = text.find_first_of(",|/", begin);
    if (end == std::string::npos) end = text.size();
    std::string name = Trim(text.substr(begin, end - begin));
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(name);
    }
    begin = end + 1;
  }
  return names;
}

Json::Value IdsFromLinks(const std::string& text) {
  Json::Value ids;
  auto alnum = [](char c) {
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  };
  std::string imdb = IdAfter(text, {"imdb.com/title/"}, alnum);
  if (imdb.size() > 2 && imdb.compare(0, 2, "tt") == 0) ids["imdb"] = imdb;
  std::string movie = IdAfter(text, {"themoviedb.org/movie/"}, IsDigit);
  std::string show = IdAfter(text, {"themoviedb.org/tv/"}, IsDigit);
  if (!movie.empty()) ids["tmdb"] = movie;
  if (movie.empty() && !show.empty()) ids["tmdb"] = "tv/" + show;
  std::string tvdb =
      IdAfter(text,
              {"thetvdb.com/?tab=series&id=", "thetvdb.com/series/",
               "thetvdb.com/index.php?tab=series&id=", "thetvdb.com/?id="},
              [](char c) { return IsDigit(c) || (c >= 'a' && c <= 'z') || c == '-'; });
  if (!tvdb.empty()) ids["tvdb"] = tvdb;
  return ids;
}

bool IsOnlyLinks(const std::string& text) {
  size_t at = 0, links = 0;
  while ((at = text.find_first_not_of(" \t\r\n", at)) != std::string::npos) {
    size_t end = text.find_first_of(" \t\r\n", at);
    std::string word = text.substr(at, end == std::string::npos ? std::string::npos : end - at);
    if (word.compare(0, 7, "http://") != 0 && word.compare(0, 8, "https://") != 0) return false;
    ++links;
    at = end;
  }
  return links > 0;
}

}  // namespace kinolot_scan
