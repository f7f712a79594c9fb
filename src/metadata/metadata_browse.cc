// Category browse: one page of the distinct actors, directors, writers,
// genres or years among the videos of one kind, with an unknown entry when
// some videos of the kind have no value in the category.
#include <exception>

#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

// The query pieces of one category over one kind.
struct BrowseQuery {
  std::string table;    // the table the values come from
  std::string columns;  // the select list
  std::string column;   // the value column: sort key and keyword column
  std::string groupBy;
  std::string countExpression;  // for SelectTotal, naming its column "total"
};

bool BrowseQueryOf(_VIDEO_CATEGORY_ category, const std::string& kindTable, bool kindHasRecordTime,
                   BrowseQuery& query) {
  _VIDEO_TABLE_TYPE_ listTable;
  switch (category) {
    case VIDEO_CATEGORY_ACTOR:
      listTable = VIDEO_TABLE_ACTOR;
      break;
    case VIDEO_CATEGORY_DIRECTOR:
      listTable = VIDEO_TABLE_DIRECTOR;
      break;
    case VIDEO_CATEGORY_WRITER:
      listTable = VIDEO_TABLE_WRITER;
      break;
    case VIDEO_CATEGORY_GENRE:
      listTable = VIDEO_TABLE_GNERE;
      break;
    case VIDEO_CATEGORY_YEAR:
      query.table = kindTable;
      query.column = "year";
      if (kindHasRecordTime) {
        // Home videos and recordings have no year column; their year is that
        // of the recording.
        query.columns = "DISTINCT EXTRACT(YEAR FROM record_time) as year";
        query.countExpression = StringFormat(
            "COUNT(DISTINCT EXTRACT(YEAR FROM %s.record_time)) as total", kindTable.c_str());
      } else {
        query.columns = "DISTINCT year";
        query.countExpression = StringFormat("COUNT(DISTINCT %s.year) as total", kindTable.c_str());
      }
      return true;
    default:
      return false;
  }
  query.table = MetadataTableName(listTable);
  // The value column of a list table has the table's name; each value is
  // represented by the smallest row id carrying it.
  query.column = query.table;
  query.columns = query.table + ", MIN(id) as id";
  query.groupBy = query.table;
  query.countExpression =
      StringFormat("COUNT(DISTINCT %s.%s) as total", query.table.c_str(), query.table.c_str());
  return true;
}

}  // namespace

bool VideoMetadataAPI::CategoryBrowse(_VIDEO_TABLE_TYPE_ type, _VIDEO_CATEGORY_ category,
                                      unsigned long offset, unsigned long limit,
                                      _ORDER_DIRECTION_ direction, const char* keyword,
                                      Json::Value& answer, unsigned long& total,
                                      unsigned long& count) {
  const std::string keywordText = keyword ? keyword : "";
  total = 0;
  count = 0;
  WritePagedAnswer(answer, "metadatas", 0, 0, Json::Value(Json::arrayValue));
  if (type != VIDEO_TABLE_MOVIE && type != VIDEO_TABLE_TVSHOW_EPISODE &&
      type != VIDEO_TABLE_HOME_VIDEO && type != VIDEO_TABLE_TV_RECORD) {
    return false;
  }
  try {
    const std::string kindTable = MetadataTableName(type);
    BrowseQuery query;
    bool recordTime = type == VIDEO_TABLE_HOME_VIDEO || type == VIDEO_TABLE_TV_RECORD;
    if (!BrowseQueryOf(category, kindTable, recordTime, query)) return false;
    VideoDB db(nullptr, query.table);

    if (category != VIDEO_CATEGORY_YEAR) {
      // Only the names of videos of this kind.
      db.AddCondtion(StringFormat("mapper_id in ( SELECT id FROM %s WHERE type='%s' )",
                                  MetadataTableName(VIDEO_TABLE_MAPPER).c_str(),
                                  kindTable.c_str()));
    }
    std::string escaped;
    if (!keywordText.empty() && EscapeLikeText(db.connection, keywordText, escaped)) {
      db.AddCondtion(StringFormat("%s ilike '%%%s%%'", query.column.c_str(), escaped.c_str()));
    }

    if (db.SelectDB(query.columns, query.column, direction, offset, limit, query.groupBy) == -1) {
      return false;
    }
    Json::Value entries(Json::arrayValue);
    _VIDEO_INFO_ALL_ row;
    while (db.NextRow()) {
      if (!db.FetchVideoItem(row)) return false;
      DBdataToMetadataArray(category, row, entries);
    }
    long counted = db.SelectTotal(query.countExpression);
    if (counted == -1) return false;
    unsigned long found = static_cast<unsigned long>(counted);

    // The unknown entry is offered on every page of an unnarrowed browse.
    if (keyword == nullptr && db.CategoryHasUnknown(kindTable, query.table)) {
      entries.append(Json::Value(Json::objectValue));
      ++found;
    }
    total = found;
    WritePagedAnswer(answer, "metadatas", total, offset + entries.size(), entries);
    return true;
  } catch (const std::exception&) {
    WritePagedAnswer(answer, "metadatas", 0, 0, Json::Value(Json::arrayValue));
    total = 0;
    return false;
  }
}

}  // namespace LibKinolot
