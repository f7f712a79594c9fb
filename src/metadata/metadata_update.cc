// Updating an item in place: the edited values go into the item's row and
// into the summary, extra information and name lists of its mapper id, each
// write a statement of its own on a VideoDB of its own.
#include <cstdio>
#include <map>
#include <string>

#include "foundation/date_text.h"
#include "foundation/sql_words.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_info_store.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

using ChangeSet = std::map<std::string, std::string>;

// The sort title of `title`, as the indexing interface derives it.
std::string SortTitle(const std::string& title) {
  char sortTitle[255];
  filterTitle(sortTitle, title.c_str());
  return sortTitle;
}

// True for the table of a kind of item (movie to tv_record): the tables
// whose rows own name lists.
bool IsItemTable(const std::string& table) {
  for (unsigned int type = VIDEO_TABLE_MOVIE; type <= VIDEO_TABLE_TV_RECORD; ++type) {
    if (table == MetadataTableName(type)) return true;
  }
  return false;
}

// Whether the dates an edit of `type` writes are ones the server takes: the
// release and sort date that `date` gives for movies, shows and episodes,
// the record time of a home video. Checked before anything is written, so
// that "2009-02-30" fails the edit instead of its last statement.
bool EditDatesStorable(_VIDEO_TABLE_TYPE_ type, const char* date, const std::string& recordTime) {
  if (type == VIDEO_TABLE_HOME_VIDEO) {
    return recordTime.empty() ||
           DateFormOf(recordTime.c_str(), recordTime.size() + 1) == DateForm::kValid;
  }
  bool dated =
      type == VIDEO_TABLE_MOVIE || type == VIDEO_TABLE_TVSHOW || type == VIDEO_TABLE_TVSHOW_EPISODE;
  if (!dated || date == nullptr) return true;
  int year = 0;
  char odate[32] = {};
  char sortTime[32] = {};
  parseYearDate(&year, odate, sortTime, date);
  return DateFormOf(odate, sizeof(odate)) != DateForm::kBad &&
         DateFormOf(sortTime, sizeof(sortTime)) != DateForm::kBad;
}

// Adds the release date, year and sort date that `date` gives.
void AddDateColumns(const char* date, ChangeSet& changes) {
  int year = 0;
  char odate[32] = {};
  char sortTime[32] = {};
  parseYearDate(&year, odate, sortTime, date);
  char yearText[30];
  snprintf(yearText, sizeof(yearText), "%d", year);
  changes["originally_available"] = odate;
  changes["year"] = yearText;
  changes["sort_time"] = sortTime;
}

}  // namespace

bool VideoMetadataAPI::UpdateSummary(const std::string& mapperId, const std::string& summary) {
  if (!IsDecimalText(mapperId)) return false;
  VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_SUMMARY));
  return db.UpdateDBEx("mapper_id", mapperId, {{"summary", summary}});
}

bool VideoMetadataAPI::UpdatePlusInfo(const std::string& mapperId, const char* plusInfo) {
  if (!IsDecimalText(mapperId)) return false;
  VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_PLUS_INFO));
  return db.UpdateDBEx("mapper_id", mapperId, {{"plus_info", plusInfo ? plusInfo : "{}"}});
}

bool VideoMetadataAPI::UpdateList(const std::string& table, const std::string& mapperId,
                                  const std::string& list) {
  // The table stands in the statements as it is: only the four list tables
  // are ever named, before any connection is opened.
  if (!IsNameListTable(table) || !IsDecimalText(mapperId)) return false;
  VideoDB db(nullptr, table);
  // The old entries go whole and the new ones come whole, in the order given.
  if (!db.DeleteList(mapperId)) return false;
  if (list.empty()) return true;
  return db.InsertList(mapperId, StringExplode(list, "|"));
}

bool VideoMetadataAPI::UpdateWDAG(const std::string& table, const std::string& id,
                                  const std::string& writer, const std::string& director,
                                  const std::string& actor, const std::string& genre) {
  if (!IsItemTable(table) || !IsDecimalText(id)) return false;
  const std::string mapperId = GetFieldValueById(table, id, "mapper_id");
  return UpdateList(MetadataTableName(VIDEO_TABLE_ACTOR), mapperId, actor) &&
         UpdateList(MetadataTableName(VIDEO_TABLE_WRITER), mapperId, writer) &&
         UpdateList(MetadataTableName(VIDEO_TABLE_DIRECTOR), mapperId, director) &&
         UpdateList(MetadataTableName(VIDEO_TABLE_GNERE), mapperId, genre);
}

bool VideoMetadataAPI::UpdateLock(_VIDEO_TABLE_TYPE_ type, const std::string& id,
                                  const std::string& isLock) {
  if (!IsDecimalText(id) || isLock.empty()) return false;
  VideoDB db(nullptr, MetadataTableName(type));
  return db.UpdateDB(id, {{"isLock", isLock}});
}

int VideoMetadataAPI::UpdateHandler(_VIDEO_TABLE_TYPE_ type, const std::string& id,
                                    const std::string& title, const std::string& tagLine,
                                    const char* date, const std::string& recordTime,
                                    const std::string& season, const std::string& episode,
                                    const std::string& isLock, const std::string& channelName,
                                    const std::string& summary, const std::string& actor,
                                    const std::string& director, const std::string& writer,
                                    const std::string& genre, const char* plusInfo) {
  const std::string table = MetadataTableName(type);
  if (!IsDecimalText(id) || !EditDatesStorable(type, date, recordTime)) return -1;
  const std::string mapperId = GetFieldValueById(table, id, "mapper_id");
  // The summary is written first and for every kind; a missing item has no
  // mapper id and fails here, before anything is written.
  if (!UpdateSummary(mapperId, summary)) return -1;
  bool hasPlusInfo =
      type == VIDEO_TABLE_MOVIE || type == VIDEO_TABLE_TVSHOW || type == VIDEO_TABLE_TVSHOW_EPISODE;
  if (plusInfo != nullptr && hasPlusInfo && !UpdatePlusInfo(mapperId, plusInfo)) return -1;

  ChangeSet changes;
  bool lists = false;
  switch (type) {
    case VIDEO_TABLE_MOVIE:
      if (title.empty() || isLock.empty()) return -1;
      changes = {{"title", title},
                 {"sort_title", SortTitle(title)},
                 {"isLock", isLock},
                 {"tag_line", tagLine}};
      lists = true;
      break;
    case VIDEO_TABLE_TVSHOW:
      if (title.empty() || isLock.empty()) return -1;
      // The show's current title is read before it is replaced; nothing
      // depends on it, but the read is part of the statements an edit runs.
      GetFieldValueById(table, id, "title");
      changes = {{"title", title}, {"sort_title", SortTitle(title)}, {"isLock", isLock}};
      break;
    case VIDEO_TABLE_TVSHOW_EPISODE:
      // An episode's title is its show's: an edit does not change it here.
      if (isLock.empty()) return -1;
      changes = {
          {"isLock", isLock}, {"tag_line", tagLine}, {"season", season}, {"episode", episode}};
      lists = true;
      break;
    case VIDEO_TABLE_HOME_VIDEO:
      if (title.empty() || recordTime.empty()) return -1;
      changes = {{"title", title}, {"sort_title", SortTitle(title)}, {"record_time", recordTime}};
      lists = true;
      break;
    case VIDEO_TABLE_TV_RECORD:
      if (title.empty() || channelName.empty()) return -1;
      changes = {{"title", title}, {"sort_title", SortTitle(title)}, {"channel_name", channelName}};
      break;
    default:
      break;
  }
  bool dated =
      type == VIDEO_TABLE_MOVIE || type == VIDEO_TABLE_TVSHOW || type == VIDEO_TABLE_TVSHOW_EPISODE;
  if (dated && date != nullptr) AddDateColumns(date, changes);
  if (lists && !UpdateWDAG(table, id, writer, director, actor, genre)) return -1;

  VideoDB db(nullptr, table);
  return db.UpdateDB(id, changes) ? 1 : -1;
}

}  // namespace LibKinolot
