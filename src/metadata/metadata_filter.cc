// Filters of List and Search and the keyword search: the request's filter
// values and keywords become join tables and WHERE conditions on the query
// builder before the caller runs its select. Every text from the caller is
// escaped on its way in; years and show ids reach SQL unquoted and are
// therefore taken only when they are decimal numbers.
#include "foundation/sql_words.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

// A condition that no row satisfies: what a year or show id that is not a
// number selects, since no video can have it.
const char kMatchesNothing[] = "1=0";

// The year condition of a kind, or kMatchesNothing for a year that is not a
// decimal number.
std::string YearCondition(const char* format, const std::string& table, const std::string& year) {
  if (!IsDecimalText(year)) return kMatchesNothing;
  return StringFormat(format, table.c_str(), year.c_str());
}

struct PersonFilter {
  const char* value;  // null: no filter; "": videos without such a row
  const char* table;
};

}  // namespace

void VideoMetadataAPI::FilterHandler(VideoDB& db, _VIDEO_TABLE_TYPE_ type, _VIDEO_ACTION_CAP_ cap,
                                     const std::string& table, const std::string& titleKeyword,
                                     const std::string& showId, const std::string& channelKeyword,
                                     const char* actor, const char* director, const char* writer,
                                     const char* genre, std::string year) {
  // The table names a column owner in every condition: only a plain name.
  if (!IsPlainSqlName(table)) return;
  const PersonFilter people[] = {
      {actor, "actor"}, {director, "director"}, {writer, "writer"}, {genre, "gnere"}};
  bool anyPersonText = false;
  bool anyPersonFilter = false;
  for (const PersonFilter& person : people) {
    anyPersonText = anyPersonText || (person.value != nullptr && person.value[0] != '\0');
    anyPersonFilter = anyPersonFilter || person.value != nullptr;
  }
  const std::string episodeTable = MetadataTableName(VIDEO_TABLE_TVSHOW_EPISODE);
  std::string escaped;

  switch (type) {
    case VIDEO_TABLE_MOVIE:
      if (!year.empty()) db.AddCondtion(YearCondition("%s.year='%s'", table, year));
      break;
    case VIDEO_TABLE_TVSHOW:
      // A show matches by its episodes' people and years.
      if (anyPersonText || !year.empty()) db.AddJoinTable(episodeTable);
      if (!year.empty()) db.AddCondtion(YearCondition("%s.year='%s'", episodeTable, year));
      break;
    case VIDEO_TABLE_TVSHOW_EPISODE:
      db.AddJoinTable(MetadataTableName(VIDEO_TABLE_TVSHOW));
      if (!showId.empty()) {
        db.AddCondtion(IsDecimalText(showId) ? table + ".tvshow_id=" + showId : kMatchesNothing);
      }
      if (!year.empty()) db.AddCondtion(YearCondition("%s.year='%s'", table, year));
      break;
    case VIDEO_TABLE_HOME_VIDEO:
      if (!year.empty()) {
        db.AddCondtion(YearCondition("EXTRACT(YEAR FROM %s.record_time)='%s'", table, year));
      }
      break;
    case VIDEO_TABLE_TV_RECORD:
      if (!channelKeyword.empty() && cap == VIDEO_ACTION_SEARCH &&
          EscapeLikeText(db.connection, channelKeyword, escaped)) {
        db.AddCondtion(StringFormat("channel_name ilike '%%%s%%'", escaped.c_str()));
      }
      break;
    default:
      break;
  }

  if (!titleKeyword.empty() && cap == VIDEO_ACTION_SEARCH &&
      EscapeLikeText(db.connection, titleKeyword, escaped)) {
    db.AddCondtion(StringFormat("title ilike '%%%s%%'", escaped.c_str()));
  }

  if (type < VIDEO_TABLE_MOVIE || type > VIDEO_TABLE_HOME_VIDEO || !anyPersonFilter) return;
  std::string base = table;
  if (type == VIDEO_TABLE_TVSHOW) {
    base = episodeTable;
    db.AddJoinTable(episodeTable);
  }
  for (const PersonFilter& person : people) {
    if (person.value == nullptr) continue;
    if (person.value[0] == '\0') {
      db.AddCondtion(StringFormat("%s.mapper_id NOT IN (SELECT mapper_id FROM %s)", base.c_str(),
                                  person.table));
      continue;
    }
    db.AddJoinTable(MetadataTableName(VIDEO_TABLE_MAPPER));
    if (cap == VIDEO_ACTION_LIST) {
      FilterId(db, person.table, person.value);
    } else if (cap == VIDEO_ACTION_SEARCH) {
      FilterName(db, person.table, person.value);
    }
  }
}

void VideoMetadataAPI::FilterName(VideoDB& db, const std::string& filterTable,
                                  const std::string& name) {
  std::string escaped;
  if (!IsPlainSqlName(filterTable) || !EscapeLikeText(db.connection, name, escaped)) return;
  SqlText condition;
  // Each person and genre table keeps its value in a column of its own name.
  printfPQExpBuffer(condition.get(), "%s ilike '%%%s%%'", filterTable.c_str(), escaped.c_str());
  if (condition.broken()) return;
  db.AddJoinTable(filterTable);
  db.AddCondtion(condition.text());
}

void VideoMetadataAPI::FilterId(VideoDB& db, const std::string& filterTable,
                                const std::string& id) {
  // Listing by a row id matches the name of that row, so every video that
  // carries the same name is found, not only the row's own video.
  if (!IsPlainSqlName(filterTable)) return;
  std::string value;
  GetValueById(filterTable, id, value);
  std::string escaped;
  if (!EscapeQuotedText(db.connection, value, escaped)) return;
  db.AddJoinTable(filterTable);
  db.AddCondtion(StringFormat("%s='%s'", filterTable.c_str(), escaped.c_str()));
}

void VideoMetadataAPI::GetValueById(const std::string& filterTable, const std::string& id,
                                    std::string& value) {
  if (!IsPlainSqlName(filterTable) || !IsDecimalText(id)) return;
  VideoDB db(nullptr, filterTable);
  db.AddCondtion("id=" + id);
  if (db.SelectDB("*", "", ORDER_DIRECTION_ASC, 0, 0, "") <= 0 || !db.NextRow()) return;
  // The person and genre tables keep the value in a column of their own name.
  value = db.FetchField(filterTable);
}

bool VideoMetadataAPI::GlobalSearch(VideoDB& db, _VIDEO_TABLE_TYPE_ type,
                                    const Json::Value& keywords) {
  if (type != VIDEO_TABLE_MOVIE && type != VIDEO_TABLE_TVSHOW && type != VIDEO_TABLE_HOME_VIDEO) {
    return false;
  }
  if (!keywords.isObject() || keywords.empty()) return false;
  const std::string table = MetadataTableName(type);
  const char* episodeJoin = type == VIDEO_TABLE_TVSHOW
                                ? "LEFT JOIN tvshow_episode ON tvshow.id=tvshow_episode.tvshow_id"
                                : "";

  std::vector<std::string> joins;
  std::vector<std::string> conditions;
  for (Json::ValueConstIterator member = keywords.begin(); member != keywords.end(); ++member) {
    // The member name stands as a column in the condition, so only plain
    // column names are accepted from the caller.
    std::string column = member.name();
    if (!IsPlainSqlName(column)) return false;
    if (column == "actor" || column == "director" || column == "writer") {
      joins.push_back(
          StringFormat("LEFT JOIN %s ON mapper.id=%s.mapper_id", column.c_str(), column.c_str()));
    }
    // A list or object has no text to look for; taken as "" it would match
    // every video.
    if (!member->isConvertibleTo(Json::stringValue)) return false;
    std::string escaped;
    if (!EscapeLikeText(db.connection, JsonText(*member), escaped)) return false;
    conditions.push_back(StringFormat("%s ilike '%%%s%%'", column.c_str(), escaped.c_str()));
  }

  std::string search =
      StringFormat(" id IN ( select %s.id FROM %s %s LEFT JOIN mapper ON mapper.id=%s.mapper_id",
                   table.c_str(), table.c_str(), episodeJoin, table.c_str());
  search += StringFormat(" %s WHERE %s GROUP BY %s.id )", StringImplode(joins, " ").c_str(),
                         StringImplode(conditions, " or ").c_str(), table.c_str());
  db.AddCondtion(search);
  return true;
}

}  // namespace LibKinolot
