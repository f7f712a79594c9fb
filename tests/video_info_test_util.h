// Record builders shared by the tests of the indexing interface.
#ifndef KINOLOT_TESTS_VIDEO_INFO_TEST_UTIL_H_
#define KINOLOT_TESTS_VIDEO_INFO_TEST_UTIL_H_

#include <cstdio>
#include <string>

#include "kinolot/video_info.h"
#include "kinolot/video_info_store.h"

namespace kinolot_test {

template <size_t N>
void Set(char (&field)[N], const std::string& text) {
  snprintf(field, N, "%s", text.c_str());
}

inline LibKinolot::_VIDEO_INFO_VIDEO_FILE_ FileRecord(
    const std::string& path, LibKinolot::_VIDEO_TYPE_ kind = LibKinolot::VIDEO_TYPE_MOVIE) {
  LibKinolot::_VIDEO_INFO_VIDEO_FILE_ file{};
  file.type = LibKinolot::VIDEO_TYPE_VIDEO_FILE;
  file.video_type = kind;
  Set(file.path, path);
  return file;
}

// Stores a file row for `path`; returns VideoInfoVideoFileSave's result.
inline int StoreFile(const std::string& path,
                     LibKinolot::_VIDEO_TYPE_ kind = LibKinolot::VIDEO_TYPE_MOVIE) {
  LibKinolot::_VIDEO_INFO_VIDEO_FILE_ file = FileRecord(path, kind);
  return LibKinolot::VideoInfoVideoFileSave(&file);
}

inline LibKinolot::_VIDEO_INFO_ Movie(const std::string& title, int year) {
  LibKinolot::_VIDEO_INFO_ info{};
  info.type = LibKinolot::VIDEO_TYPE_MOVIE;
  Set(info.title, title);
  info.year = year;
  // The year is derived from the release date on every save; a bare year
  // keeps it.
  if (year > 0) Set(info.originally_available, std::to_string(year));
  return info;
}

inline LibKinolot::_VIDEO_INFO_TVSHOW_ Episode(const std::string& show, int showYear, int season,
                                               int episode) {
  LibKinolot::_VIDEO_INFO_TVSHOW_ info{};
  info.type = LibKinolot::VIDEO_TYPE_TVSHOW_EPISODE;
  Set(info.title, show);
  info.tvshow_year = showYear;
  if (showYear > 0) Set(info.tvshow_originally_available, std::to_string(showYear));
  info.season = season;
  info.episode = episode;
  return info;
}

inline LibKinolot::_VIDEO_INFO_ Recording(LibKinolot::_VIDEO_TYPE_ type, const std::string& title,
                                          const std::string& recordTime) {
  LibKinolot::_VIDEO_INFO_ info{};
  info.type = type;
  Set(info.title, title);
  Set(info.record_time, recordTime);
  return info;
}

// Stores the file of `path` and then `info` for it; true when both succeed.
inline bool StoreVideo(const std::string& path, LibKinolot::_VIDEO_INFO_ info) {
  return StoreFile(path, info.type) == 0 && LibKinolot::VideoInfoSave(path.c_str(), &info) == 0;
}

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_VIDEO_INFO_TEST_UTIL_H_
