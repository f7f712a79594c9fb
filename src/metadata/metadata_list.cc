// List, Search and GetInfo: the paged answers over one video kind and the
// full item of one video, each built on a query builder of its own.
#include <exception>

#include "foundation/sql_words.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

// The select list of one episode with its show's title, year, date and
// mapper id, so that an episode's "title" is its show's title.
const char kEpisodeWithShowColumns[] =
    "tvshow.mapper_id as tvshow_mapper_id, tvshow.title as title, tvshow.year as tvshow_year, "
    "tvshow.originally_available as tvshow_originally_available, tvshow_episode.id as id, "
    "tvshow_episode.tvshow_id as tvshow_id, tvshow_episode.mapper_id as mapper_id, "
    "tvshow_episode.tag_line as tag_line, tvshow_episode.season as season, "
    "tvshow_episode.episode as episode, tvshow_episode.year as year, "
    "tvshow_episode.originally_available as originally_available, "
    "tvshow_episode.sort_time as sort_time, tvshow_episode.isLock as isLock, "
    "tvshow_episode.create_date as create_date, tvshow_episode.modify_date as modify_date ";

bool IsListedKind(_VIDEO_TABLE_TYPE_ type) {
  return type >= VIDEO_TABLE_MOVIE && type <= VIDEO_TABLE_TV_RECORD;
}

// Appends the list item of every row of `db`'s current result to `items`;
// false when a row cannot be decoded.
bool AppendRows(VideoMetadataAPI& api, VideoDB& db, _VIDEO_TABLE_TYPE_ type, Json::Value& items) {
  _VIDEO_INFO_ALL_ row;
  while (db.NextRow()) {
    if (!db.FetchVideoItem(row)) return false;
    api.DBdataToArrayHandler(type, row, items);
  }
  return true;
}

// The steps that List and Search share: the answer of a failure, the query
// builder on which `addFilters(db, table)` puts the request's conditions (it
// returns false to fail the request), then the page, its items, the total
// and the additional information.
template <typename AddFilters>
bool PagedAnswer(VideoMetadataAPI& api, _VIDEO_TABLE_TYPE_ type, unsigned long offset,
                 unsigned long limit, _VIDEO_ADDITIONAL_ additional, const std::string& sortBy,
                 _ORDER_DIRECTION_ direction, Json::Value& answer, unsigned long& total,
                 unsigned long& count, AddFilters addFilters) {
  if (!IsListedKind(type)) return false;
  const std::string table = MetadataTableName(type);
  total = 0;
  count = 0;
  WritePagedAnswer(answer, MetadataKeyName(type), 0, 0, Json::Value(Json::arrayValue));
  try {
    // The sort key stands unquoted after ORDER BY, so only a column name is
    // taken from the caller.
    if (!sortBy.empty() && !IsPlainSqlName(sortBy)) return false;
    VideoDB db(nullptr, table);
    if (!addFilters(db, table)) return false;
    std::string sortText = sortBy.empty() ? std::string() : table + "." + sortBy;
    Json::Value items(Json::arrayValue);
    if (db.SelectDB("*", sortText, direction, offset, limit, "") == -1) return false;
    if (!AppendRows(api, db, type, items)) return false;
    long counted = db.SelectTotal("");
    if (counted == -1) return false;
    total = static_cast<unsigned long>(counted);
    api.AdditionalHandler(type, additional, table, items);
    WritePagedAnswer(answer, MetadataKeyName(type), total, offset + items.size(), items);
    return true;
  } catch (const std::exception&) {
    return false;  // out of memory, or a JSON value of an unexpected type
  }
}

}  // namespace

bool VideoMetadataAPI::List(_VIDEO_TABLE_TYPE_ type, unsigned long offset, unsigned long limit,
                            _VIDEO_ADDITIONAL_ additional, const std::string& sortBy,
                            _ORDER_DIRECTION_ direction, const std::string& filterKeyword,
                            const char* filterA, const char* filterB, const char* filterC,
                            const char* filterD, std::string filterE, Json::Value& answer,
                            unsigned long& total, unsigned long& count) {
  return PagedAnswer(*this, type, offset, limit, additional, sortBy, direction, answer, total,
                     count, [&](VideoDB& db, const std::string& table) {
                       FilterHandler(db, type, VIDEO_ACTION_LIST, table, "", filterKeyword, "",
                                     filterA, filterB, filterC, filterD, filterE);
                       return true;
                     });
}

bool VideoMetadataAPI::Search(_VIDEO_TABLE_TYPE_ type, unsigned long offset, unsigned long limit,
                              _VIDEO_ADDITIONAL_ additional, const std::string& sortBy,
                              _ORDER_DIRECTION_ direction, Json::Value keywords,
                              const std::string& filterX, const std::string& filterY,
                              const char* filterA, const char* filterB, const char* filterC,
                              const char* filterD, std::string filterE, Json::Value& answer,
                              unsigned long& total, unsigned long& count) {
  return PagedAnswer(*this, type, offset, limit, additional, sortBy, direction, answer, total,
                     count, [&](VideoDB& db, const std::string& table) {
                       // Keywords and filters are alternatives, never combined.
                       if (!keywords.empty()) return GlobalSearch(db, type, keywords);
                       FilterHandler(db, type, VIDEO_ACTION_SEARCH, table, filterX, "", filterY,
                                     filterA, filterB, filterC, filterD, filterE);
                       return true;
                     });
}

bool VideoMetadataAPI::GetInfo(_VIDEO_TABLE_TYPE_ type, _VIDEO_ADDITIONAL_ additional,
                               const std::string& id, Json::Value& answer) {
  answer = Json::Value(Json::objectValue);
  bool served = IsListedKind(type) || type == VIDEO_TABLE_COLLECTION;
  // The id stands unquoted in the condition, so only a decimal id is looked up.
  if (!served || !IsDecimalText(id)) return true;
  try {
    const std::string table = MetadataTableName(type);
    Json::Value items(Json::arrayValue);
    VideoDB db(nullptr, table);
    std::string columns = "*";
    if (type == VIDEO_TABLE_TVSHOW_EPISODE) {
      db.AddJoinTable(MetadataTableName(VIDEO_TABLE_TVSHOW));
      columns = kEpisodeWithShowColumns;
    }
    db.AddCondtion(table + ".id=" + id);
    if (db.SelectDB(columns, "", ORDER_DIRECTION_ASC, 0, 0, "") == -1) return true;
    if (!AppendRows(*this, db, type, items)) return true;
    AdditionalHandler(type, additional, table, items);

    const uint32_t showBits = VIDEO_ADDITIONAL_TVSHOW_SUMMARY | VIDEO_ADDITIONAL_TVSHOW_PLUS_INFO;
    if (type == VIDEO_TABLE_TVSHOW_EPISODE && (additional & showBits) && items.size() > 0) {
      // The show's summary and extra information, fetched for the show as a
      // one-item list; both are fetched whichever of the two bits was set.
      Json::Value show(Json::objectValue);
      show["id"] = items[0]["tvshow_id"];
      show["mapper_id"] = items[0]["tvshow_mapper_id"];
      Json::Value shows(Json::arrayValue);
      shows.append(show);
      const std::string showTable = MetadataTableName(VIDEO_TABLE_TVSHOW);
      AdditionalHandler(VIDEO_TABLE_TVSHOW, VIDEO_ADDITIONAL_SUMMARY, showTable, shows);
      AdditionalHandler(VIDEO_TABLE_TVSHOW, VIDEO_ADDITIONAL_PLUS_INFO, showTable, shows);
      const Json::Value& showInfo = static_cast<const Json::Value&>(shows)[0]["additional"];
      // A show without a summary or extra information gives null, not an
      // absent key.
      Json::Value summary = showInfo.isObject() ? showInfo["summary"] : Json::Value();
      Json::Value extra = showInfo.isObject() ? showInfo["extra"] : Json::Value();
      for (Json::ArrayIndex i = 0; i < items.size(); ++i) {
        items[i]["additional"]["tvshow_summary"] = summary;
        items[i]["additional"]["tvshow_extra"] = extra;
      }
    }
    answer[MetadataKeyName(type)] = items;
  } catch (const std::exception&) {
    // GetInfo reports nothing; the answer stays as built so far.
  }
  return true;
}

}  // namespace LibKinolot
