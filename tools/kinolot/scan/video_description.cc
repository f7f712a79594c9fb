// Building the stored description of a video; see video_description.h.
#include "video_description.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <list>
#include <vector>

namespace kinolot_scan {
namespace {

using LibKinolot::_VIDEO_INFO_;

// Length of the well-formed UTF-8 letter at `text[at]`, or 0 when the bytes
// there are none (a stray continuation byte, an over-long form, a surrogate,
// a code point past U+10FFFF or a cut sequence).
size_t LetterLength(const std::string& text, size_t at) {
  auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char lead = byte(at);
  if (lead < 0x80) return 1;
  size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
  if (length == 0 || lead > 0xF4 || at + length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return 0;
  }
  unsigned char second = byte(at + 1);
  if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) ||
      (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second >= 0x90)) {
    return 0;
  }
  return length;
}

void SetYear(char (&field)[32], int year) {
  if (year > 0) snprintf(field, sizeof(field), "%d", year);
}

std::string LocalTime(int64_t nanoseconds) {
  time_t seconds = static_cast<time_t>(nanoseconds / 1000000000);
  struct tm local {};
  char text[32] = {};
  if (localtime_r(&seconds, &local)) strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

// The release date: a full date when the .nfo has one, else the year alone,
// which the library turns into the year and a sort date of January 1st.
void SetRelease(char (&field)[32], const NfoInfo* nfo, int name_year) {
  if (nfo && !nfo->date.empty()) {
    SetField(field, nfo->date);
  } else {
    SetYear(field, nfo && nfo->year ? nfo->year : name_year);
  }
}

std::list<std::string> Names(const std::list<std::string>& names) {
  std::list<std::string> valid;
  for (const std::string& name : names) {
    std::vector<char> field(name.size() + 1);
    SetField(field.data(), field.size(), name);
    valid.emplace_back(field.data());
  }
  return valid;
}

// The lists and extra information of the item. An episode also gets its
// show's genres, and the show's cast where its own .nfo names none, so that
// browsing by genre or actor finds the show's episodes.
void SetLists(const NfoInfo* nfo, const NfoInfo* show_nfo, _VIDEO_INFO_* info) {
  static const NfoInfo kNone;
  const NfoInfo& own = nfo ? *nfo : kNone;
  std::list<std::string> genres = own.genres, actors = own.actors;
  if (show_nfo && info->type == LibKinolot::VIDEO_TYPE_TVSHOW_EPISODE) {
    for (const std::string& genre : show_nfo->genres) {
      if (std::find(genres.begin(), genres.end(), genre) == genres.end()) genres.push_back(genre);
    }
    if (actors.empty()) actors = show_nfo->actors;
    info->tvshow_plus_info = show_nfo->extra;
  }
  info->gnere = Names(genres);
  info->actor = Names(actors);
  info->director = Names(own.directors);
  info->writer = Names(own.writers);
  info->plus_info = own.extra;
}

const std::string& Either(const NfoInfo* nfo, std::string NfoInfo::*field,
                          const std::string& otherwise) {
  return nfo && !(nfo->*field).empty() ? nfo->*field : otherwise;
}

}  // namespace

bool IsUtf8(const std::string& text) {
  for (size_t at = 0; at < text.size();) {
    size_t length = LetterLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

void SetField(char* field, size_t capacity, const std::string& text) {
  if (capacity == 0) return;
  size_t out = 0;
  for (size_t at = 0; at < text.size();) {
    size_t length = LetterLength(text, at);
    // A byte that is no letter becomes a question mark rather than text the
    // database would refuse.
    const char* letter = length ? text.data() + at : "?";
    size_t letter_length = length ? length : 1;
    if (out + letter_length >= capacity) break;
    memcpy(field + out, letter, letter_length);
    out += letter_length;
    at += length ? length : 1;
  }
  field[out] = '\0';
}

void DescribeVideo(const MediaName& name, const NfoInfo* nfo, const NfoInfo* show_nfo,
                   const MediaTags& tags, int64_t mtime_ns, _VIDEO_INFO_* info) {
  info->Clear();
  info->type = name.type;
  static const std::string kNone;
  switch (name.type) {
    case LibKinolot::VIDEO_TYPE_TVSHOW_EPISODE:
      SetField(info->title, Either(show_nfo, &NfoInfo::title, name.title));
      SetRelease(info->tvshow_originally_available, show_nfo, name.year);
      SetField(info->tvshow_summary, Either(show_nfo, &NfoInfo::plot, kNone));
      info->season = nfo && nfo->season >= 0 ? nfo->season : name.season;
      info->episode = nfo && nfo->episode >= 0 ? nfo->episode : name.episode;
      // Episodes have no title of their own in the library; the tag line
      // carries it.
      SetField(info->tag_line, Either(nfo, &NfoInfo::title, name.episode_title));
      SetRelease(info->originally_available, nfo, 0);
      break;
    case LibKinolot::VIDEO_TYPE_HOME_VIDEO:
    case LibKinolot::VIDEO_TYPE_TV_RECORD: {
      SetField(info->title, Either(nfo, &NfoInfo::title, name.title));
      std::string when = !name.date.empty()            ? name.date
                         : !tags.creation_time.empty() ? tags.creation_time
                                                       : LocalTime(mtime_ns);
      SetField(info->record_time, when);
      SetField(info->channel_name, tags.service_name);
      break;
    }
    default:
      SetField(info->title, Either(nfo, &NfoInfo::title, name.title));
      SetField(info->tag_line, Either(nfo, &NfoInfo::tag_line, kNone));
      SetRelease(info->originally_available, nfo, name.year);
      break;
  }
  SetField(info->summary, Either(nfo, &NfoInfo::plot, kNone));
  SetLists(nfo, show_nfo, info);
}

}  // namespace kinolot_scan
