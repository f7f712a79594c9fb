// The values an edit form of the front end sends, and the calls of the edit
// API that take them, so that a test names only the values it cares about.
#ifndef KINOLOT_TESTS_SUPPORT_EDIT_FORM_H_
#define KINOLOT_TESTS_SUPPORT_EDIT_FORM_H_

#include <string>

#include "kinolot/video_metadata_api.h"

namespace kinolot_test {

struct EditForm {
  std::string title, tagLine;
  const char* date = nullptr;
  std::string recordTime, season, episode, isLock, channel, summary;
  std::string actor, director, writer, genre;  // "|"-separated
  const char* plusInfo = nullptr;
  const char* tvshowPlusInfo = nullptr;
  const char* tvshowSummary = nullptr;
  const char* tvshowDate = nullptr;

  int Update(LibKinolot::VideoMetadataAPI& api, LibKinolot::_VIDEO_TABLE_TYPE_ type,
             const std::string& id) const {
    return api.UpdateHandler(type, id, title, tagLine, date, recordTime, season, episode, isLock,
                             channel, summary, actor, director, writer, genre, plusInfo);
  }
  bool Edit(LibKinolot::VideoMetadataAPI& api, LibKinolot::_VIDEO_TABLE_TYPE_ type,
            const std::string& id, const std::string& videoId) const {
    return api.Edit(type, id, videoId, title, tagLine, date, recordTime, season, episode, isLock,
                    channel, summary, actor, director, writer, genre, plusInfo, tvshowPlusInfo,
                    tvshowSummary, tvshowDate);
  }
  bool SaveFile(LibKinolot::VideoMetadataAPI& api, LibKinolot::_VIDEO_TABLE_TYPE_ type,
                const std::string& path, const std::string& videoId) const {
    return api.UpdateOrInsertFile(type, path, "", videoId, title, tagLine, date, recordTime, season,
                                  episode, isLock, channel, summary, actor, director, writer, genre,
                                  plusInfo, tvshowPlusInfo, tvshowSummary, tvshowDate);
  }
  int Insert(LibKinolot::VideoMetadataAPI& api, LibKinolot::_VIDEO_TABLE_TYPE_ type,
             const std::string& id) const {
    return api.InsertHandler(type, id, title, tagLine, date ? date : "", recordTime, season,
                             episode, isLock, channel, summary, actor, director, writer, genre,
                             plusInfo, tvshowPlusInfo, tvshowSummary, tvshowDate);
  }
};

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_EDIT_FORM_H_
