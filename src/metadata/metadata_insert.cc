// Edits written through the path-keyed indexing interface: a file's stored
// description is read, overlaid with the edited values and saved again, so
// that saving decides which item the file belongs to (an existing one with
// the edited identity, or a new one). InsertHandler does this for every file
// of an item.
#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "foundation/field_text.h"
#include "kinolot/video_info_store.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

// Json::Reader::parse, with the exception that the reader throws for
// nesting deeper than its limit (a text of a thousand '[') counted as a
// parse error instead of leaving the library.
bool ParseJson(const char* text, Json::Value& value, bool collectComments) {
  try {
    return Json::Reader().parse(text, value, collectComments);
  } catch (const std::exception&) {
    return false;
  }
}

// Reading a description gives its extra information as the stored text in a
// JSON string; saving writes a value as JSON text. Turned back into the JSON
// value it holds, the extra information survives a read and save unchanged
// instead of gaining a layer of quoting on every edit.
void UnwrapStoredJson(Json::Value& value) {
  if (!value.isString()) return;
  const std::string text = value.asString();
  if (text.empty()) {
    value = Json::Value();
    return;
  }
  Json::Value parsed;
  if (ParseJson(text.c_str(), parsed, false)) value = parsed;
}

// Parses an edited extra-information text into `value`. A text of at most
// one character means "none given" and leaves `value` alone. False on a
// parse error.
bool ParseEditedJson(const char* text, Json::Value& value) {
  if (text == nullptr || strlen(text) <= 1) return true;
  return ParseJson(text, value, true);
}

// Puts an edited release date into a date field. The sort date is emptied,
// so that saving derives year and sort date from the new date instead of
// keeping the stored ones.
template <size_t N>
void SetDate(char (&date)[N], char (&sortTime)[N], const char* text) {
  CopyText(date, text);
  sortTime[0] = '\0';
}

// The edited values every kind takes: the summary and the four lists. The
// lists read back with the description are replaced, not extended.
void SetSummaryAndLists(VideoMetadataAPI& api, const std::string& summary,
                        const std::string& writer, const std::string& actor,
                        const std::string& genre, const std::string& director,
                        _VIDEO_INFO_& record) {
  CopyText(record.summary, summary.c_str());
  record.writer.clear();
  record.actor.clear();
  record.gnere.clear();
  record.director.clear();
  api.StringToList(writer, record.writer);
  api.StringToList(actor, record.actor);
  api.StringToList(genre, record.gnere);
  api.StringToList(director, record.director);
}

// Reads the description of kind `type` stored for `path` into `record`.
bool ReadRecord(_VIDEO_TYPE_ type, const std::string& path, _VIDEO_INFO_& record) {
  record.type = type;
  if (VideoInfoGetOne(path.c_str(), &record) == -1) return false;
  UnwrapStoredJson(record.plus_info);
  UnwrapStoredJson(record.tvshow_plus_info);
  return true;
}

// An edit that moves an episode into another show that exists already
// leaves that show its own summary, extra information and dates: they are
// read into `record` in place of those of the show the episode leaves. The
// edit's own show values, applied after this, still replace them. The show
// is found by the edited `title` and the year the save will use.
void TakeExistingShow(VideoMetadataAPI& api, const std::string& title, const char* tvshowDate,
                      _VIDEO_INFO_& record) {
  _VIDEO_INFO_ identity;
  CopyText(identity.title, title.c_str());
  identity.tvshow_year = tvshowDate != nullptr ? YearOfDate(tvshowDate) : record.tvshow_year;
  int show = VideoInfoMapperIDGet(VIDEO_TABLE_TVSHOW, &identity);
  if (show < 0) return;  // a new show: it starts from the old one's values
  const std::string mapperId = std::to_string(show);
  auto stored = [&](_VIDEO_TABLE_TYPE_ table, const char* column) {
    return api.GetFieldValueByKey(MetadataTableName(table), "mapper_id", mapperId, column);
  };
  CopyText(record.tvshow_summary, stored(VIDEO_TABLE_SUMMARY, "summary").c_str());
  record.tvshow_plus_info = stored(VIDEO_TABLE_PLUS_INFO, "plus_info");
  UnwrapStoredJson(record.tvshow_plus_info);
  CopyText(record.tvshow_originally_available,
           stored(VIDEO_TABLE_TVSHOW, "originally_available").c_str());
  CopyText(record.tvshow_sort_time, stored(VIDEO_TABLE_TVSHOW, "sort_time").c_str());
}

}  // namespace

bool VideoMetadataAPI::UpdateOrInsertFile(
    _VIDEO_TABLE_TYPE_ type, const std::string& path, const std::string& id,
    const std::string& videoId, const std::string& title, const std::string& tagLine,
    const char* date, const std::string& recordTime, const std::string& season,
    const std::string& episode, const std::string& isLock, const std::string& channelName,
    const std::string& summary, const std::string& actor, const std::string& director,
    const std::string& writer, const std::string& genre, const char* plusInfo,
    const char* tvshowPlusInfo, const char* tvshowSummary, const char* tvshowDate) {
  (void)id;
  (void)channelName;
  if (path.empty()) return false;
  _VIDEO_INFO_ record;

  if (type == VIDEO_TABLE_HOME_VIDEO) {
    if (title.empty() || recordTime.empty()) return false;
    if (!ReadRecord(VIDEO_TYPE_HOME_VIDEO, path, record)) return false;
    CopyText(record.title, title.c_str());
    CopyText(record.record_time, recordTime.c_str());
    SetSummaryAndLists(*this, summary, writer, actor, genre, director, record);
    return VideoInfoSave(path.c_str(), &record) != -1;
  }

  if (type == VIDEO_TABLE_MOVIE) {
    if (title.empty() || isLock.empty()) return false;
    if (!ReadRecord(VIDEO_TYPE_MOVIE, path, record)) return false;
    // Extra information fetched for the old identity does not describe the
    // new one.
    if (strcasecmp(record.title, title.c_str()) != 0 ||
        (date != nullptr && YearOfDate(date) != record.year)) {
      record.plus_info = Json::Value(Json::objectValue);
    }
    if (!ParseEditedJson(plusInfo, record.plus_info)) return false;
    CopyText(record.title, title.c_str());
    CopyText(record.tag_line, tagLine.c_str());
    if (date != nullptr) SetDate(record.originally_available, record.sort_time, date);
    SetSummaryAndLists(*this, summary, writer, actor, genre, director, record);
    if (VideoInfoSave(path.c_str(), &record) == -1) return false;
    // The save may have moved the file to another movie: lock the one that
    // owns it now.
    std::string movieId;
    if (!GetIDByVideoID(VIDEO_TABLE_MOVIE, videoId, movieId)) return false;
    return UpdateLock(VIDEO_TABLE_MOVIE, movieId, isLock);
  }

  if (type != VIDEO_TABLE_TVSHOW_EPISODE) return true;  // nothing to write for other kinds

  // An episode's `title` is the title of its show.
  if (isLock.empty() || title.empty()) return false;
  if (!ReadRecord(VIDEO_TYPE_TVSHOW_EPISODE, path, record)) return false;
  const bool showChanges = strcasecmp(record.title, title.c_str()) != 0 ||
                           (tvshowDate != nullptr && YearOfDate(tvshowDate) != record.tvshow_year);
  if (strcasecmp(record.title, title.c_str()) != 0 ||
      (date != nullptr && YearOfDate(date) != record.year)) {
    record.plus_info = Json::Value(Json::objectValue);
    record.tvshow_plus_info = Json::Value(Json::objectValue);
  }
  if (record.season != DecimalValue(season) || record.episode != DecimalValue(episode)) {
    record.plus_info = Json::Value(Json::objectValue);
  }
  if (showChanges) TakeExistingShow(*this, title, tvshowDate, record);
  if (!ParseEditedJson(plusInfo, record.plus_info) ||
      !ParseEditedJson(tvshowPlusInfo, record.tvshow_plus_info)) {
    return false;
  }
  CopyText(record.title, title.c_str());
  if (tvshowSummary != nullptr) CopyText(record.tvshow_summary, tvshowSummary);
  if (tvshowDate != nullptr) {
    SetDate(record.tvshow_originally_available, record.tvshow_sort_time, tvshowDate);
  }
  CopyText(record.tag_line, tagLine.c_str());
  if (date != nullptr) SetDate(record.originally_available, record.sort_time, date);
  record.season = DecimalValue(season);
  record.episode = DecimalValue(episode);
  SetSummaryAndLists(*this, summary, writer, actor, genre, director, record);
  if (VideoInfoSave(path.c_str(), &record) == -1) return false;

  std::string episodeId;
  if (!GetIDByVideoID(VIDEO_TABLE_TVSHOW_EPISODE, videoId, episodeId) ||
      !UpdateLock(VIDEO_TABLE_TVSHOW_EPISODE, episodeId, isLock)) {
    return false;
  }
  // The show shares the episode's lock. It is found through the episode: a
  // file belongs to its episode's mapper, never to the show's.
  const std::string showId =
      GetFieldValueById(MetadataTableName(VIDEO_TABLE_TVSHOW_EPISODE), episodeId, "tvshow_id");
  if (showId.empty()) return false;
  return UpdateLock(VIDEO_TABLE_TVSHOW, showId, isLock);
}

int VideoMetadataAPI::InsertHandler(_VIDEO_TABLE_TYPE_ type, const std::string& id,
                                    const std::string& title, const std::string& tagLine,
                                    std::string date, const std::string& recordTime,
                                    const std::string& season, const std::string& episode,
                                    const std::string& isLock, const std::string& channelName,
                                    const std::string& summary, const std::string& actor,
                                    const std::string& director, const std::string& writer,
                                    const std::string& genre, const char* plusInfo,
                                    const char* tvshowPlusInfo, const char* tvshowSummary,
                                    const char* tvshowDate) {
  if (!IsDecimalText(id)) return 0;
  const std::string table = MetadataTableName(type);
  Json::Value files(Json::objectValue);
  SelectAdditional(table, MetadataTableName(VIDEO_TABLE_VIDEO_FILE), {"id=" + id}, files);
  // A failed query and an item without files both leave no files: there is
  // nothing to write the edit through.
  const std::string mapperId = GetFieldValueById(table, id, "mapper_id");
  if (mapperId.empty() || !files.isMember(mapperId)) return 0;

  int result = 1;
  for (const Json::Value& file : files[mapperId]) {
    if (!JsonHasMember(file, "path") || !JsonHasMember(file, "id")) continue;
    // Every file is tried; one that fails does not stop the others.
    bool saved = UpdateOrInsertFile(type, JsonText(file["path"]), id, JsonText(file["id"]), title,
                                    tagLine, date.c_str(), recordTime, season, episode, isLock,
                                    channelName, summary, actor, director, writer, genre, plusInfo,
                                    tvshowPlusInfo, tvshowSummary, tvshowDate);
    result &= saved ? 1 : 0;
  }
  return result;
}

}  // namespace LibKinolot
