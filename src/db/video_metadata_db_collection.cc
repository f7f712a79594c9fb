// VideoDB's collection queries. A collection holds videos of every kind, so
// its listing is a UNION of four SELECTs (episodes, movies, home videos, TV
// recordings) that yield the same columns (id, mapper_id, title,
// upper_sort_title, originally_available, year, sort_time, type), restricted
// to the collection through collection_map and sorted and paged as one list.
// Rows are read with NextRow and FetchVideoItem; "type" tells their kind.
#include <climits>
#include <cstdio>
#include <string>
#include <vector>

#include "db/video_metadata_db_internal.h"
#include "foundation/heap_text.h"
#include "foundation/log.h"
#include "foundation/sql_words.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_metadata_db.h"

namespace LibKinolot {
namespace {

// Membership of a branch's videos in the requested collection, and in any
// collection at all.
#define KINOLOT_IN_COLLECTION "SELECT mapper_id FROM collection_map WHERE collection_id=@VEXO:INT"
#define KINOLOT_IN_ANY_COLLECTION "SELECT mapper_id FROM collection_map"

// The branches of the listing; an episode's title and sort title are its show's.
#define KINOLOT_EPISODES_IN(members)                                                    \
  "(SELECT tvshow_episode.id, tvshow_episode.mapper_id, tvshow.title, "                 \
  "UPPER(tvshow.sort_title) as upper_sort_title, tvshow_episode.originally_available, " \
  "tvshow_episode.year as year, tvshow_episode.sort_time as sort_time, type "           \
  "FROM tvshow_episode LEFT JOIN tvshow on tvshow.id=tvshow_episode.tvshow_id "         \
  "LEFT JOIN mapper ON tvshow_episode.mapper_id=mapper.id "                             \
  "WHERE tvshow_episode.mapper_id IN (" members "))"
#define KINOLOT_MOVIES_IN(members)                                            \
  "(SELECT movie.id, movie.mapper_id, movie.title, "                          \
  "UPPER(movie.sort_title) as upper_sort_title, movie.originally_available, " \
  "movie.year as year, movie.sort_time as sort_time, type "                   \
  "FROM movie LEFT JOIN mapper ON movie.mapper_id=mapper.id "                 \
  "WHERE movie.mapper_id IN (" members "))"
#define KINOLOT_HOME_VIDEOS_IN(members)                                                      \
  "(SELECT home_video.id, home_video.mapper_id, home_video.title, "                          \
  "UPPER(home_video.sort_title) as upper_sort_title, "                                       \
  "home_video.record_time as originally_available, "                                         \
  "extract(year from home_video.record_time) as year, home_video.record_time as sort_time, " \
  "type FROM home_video LEFT JOIN mapper ON home_video.mapper_id=mapper.id "                 \
  "WHERE home_video.mapper_id IN (" members "))"
#define KINOLOT_TV_RECORDS_IN(members)                                                     \
  "(SELECT tv_record.id, tv_record.mapper_id, tv_record.title, "                           \
  "UPPER(tv_record.sort_title) as upper_sort_title, "                                      \
  "tv_record.record_time as originally_available, "                                        \
  "extract(year from tv_record.record_time) as year, tv_record.record_time as sort_time, " \
  "type FROM tv_record LEFT JOIN mapper ON tv_record.mapper_id=mapper.id "                 \
  "WHERE tv_record.mapper_id IN (" members "))"

// One page of a collection: the collection id four times, the sort key,
// offset and limit.
const char kListPage[] =
    KINOLOT_EPISODES_IN(KINOLOT_IN_COLLECTION) " UNION " KINOLOT_MOVIES_IN(KINOLOT_IN_COLLECTION)
    " UNION " KINOLOT_HOME_VIDEOS_IN(KINOLOT_IN_COLLECTION)
    " UNION " KINOLOT_TV_RECORDS_IN(KINOLOT_IN_COLLECTION)
    " ORDER BY @VEXO:VAR OFFSET @VEXO:INT LIMIT @VEXO:INT";

// Every member at once, which callers count for their totals: the collection
// id three times. This listing has always been unordered and unpaged, and
// its episode branch has never been held to the requested collection (it
// takes the episodes of every collection); callers' totals rely on that, so
// it is kept, written out here rather than left to chance.
const char kListAll[] =
    KINOLOT_EPISODES_IN(KINOLOT_IN_ANY_COLLECTION) " UNION " KINOLOT_MOVIES_IN(
        KINOLOT_IN_COLLECTION) " UNION " KINOLOT_HOME_VIDEOS_IN(KINOLOT_IN_COLLECTION)
        " UNION " KINOLOT_TV_RECORDS_IN(KINOLOT_IN_COLLECTION);

// The branches of a search: the rows whose id is in an inner query that
// joins the name tables and applies the search conditions. Each takes the
// joins, the collection id and the conditions; the inner GROUP BY keeps one
// row per video however many names match.
#define KINOLOT_EPISODES_FOUND                                                          \
  "SELECT tvshow_episode.id, tvshow_episode.mapper_id, tvshow.title, "                  \
  "UPPER(tvshow.sort_title) as upper_sort_title, tvshow_episode.originally_available, " \
  "tvshow_episode.year as year, tvshow_episode.sort_time as sort_time, type "           \
  "FROM tvshow_episode LEFT JOIN tvshow on tvshow.id=tvshow_episode.tvshow_id "         \
  "LEFT JOIN mapper ON tvshow_episode.mapper_id=mapper.id "                             \
  "WHERE tvshow_episode.id IN (SELECT tvshow_episode.id FROM tvshow_episode "           \
  "LEFT JOIN tvshow on tvshow.id=tvshow_episode.tvshow_id "                             \
  "LEFT JOIN mapper ON tvshow_episode.mapper_id=mapper.id %s "                          \
  "WHERE tvshow_episode.mapper_id IN (SELECT mapper_id FROM collection_map WHERE "      \
  "collection_id=%s) AND (%s) GROUP BY tvshow_episode.id)"
#define KINOLOT_MOVIES_FOUND                                                                 \
  "SELECT movie.id, movie.mapper_id, movie.title, UPPER(movie.sort_title) as "               \
  "upper_sort_title, movie.originally_available, movie.year as year, movie.sort_time as "    \
  "sort_time, type FROM movie LEFT JOIN mapper ON movie.mapper_id=mapper.id WHERE movie.id " \
  "IN (SELECT movie.id FROM movie LEFT JOIN mapper ON movie.mapper_id=mapper.id %s WHERE "   \
  "movie.mapper_id IN (SELECT mapper_id FROM collection_map WHERE collection_id=%s) AND "    \
  "(%s) GROUP BY movie.id)"
#define KINOLOT_HOME_VIDEOS_FOUND                                                            \
  "SELECT home_video.id, home_video.mapper_id, home_video.title, "                           \
  "UPPER(home_video.sort_title) as upper_sort_title, "                                       \
  "home_video.record_time as originally_available, "                                         \
  "extract(year from home_video.record_time) as year, home_video.record_time as sort_time, " \
  "type FROM home_video LEFT JOIN mapper ON home_video.mapper_id=mapper.id "                 \
  "WHERE home_video.id IN (SELECT home_video.id FROM home_video "                            \
  "LEFT JOIN mapper ON home_video.mapper_id=mapper.id %s "                                   \
  "WHERE home_video.mapper_id IN (SELECT mapper_id FROM collection_map WHERE "               \
  "collection_id=%s) AND (%s) GROUP BY home_video.id)"
#define KINOLOT_TV_RECORDS_FOUND                                                           \
  "SELECT tv_record.id, tv_record.mapper_id, tv_record.title, "                            \
  "UPPER(tv_record.sort_title) as upper_sort_title, "                                      \
  "tv_record.record_time as originally_available, "                                        \
  "extract(year from tv_record.record_time) as year, tv_record.record_time as sort_time, " \
  "type FROM tv_record LEFT JOIN mapper ON tv_record.mapper_id=mapper.id "                 \
  "WHERE tv_record.id IN (SELECT tv_record.id FROM tv_record "                             \
  "LEFT JOIN mapper ON tv_record.mapper_id=mapper.id %s "                                  \
  "WHERE tv_record.mapper_id IN (SELECT mapper_id FROM collection_map WHERE "              \
  "collection_id=%s) AND (%s) GROUP BY tv_record.id)"
#define KINOLOT_SEARCH_UNION                                                                  \
  KINOLOT_EPISODES_FOUND " UNION  " KINOLOT_MOVIES_FOUND " UNION  " KINOLOT_HOME_VIDEOS_FOUND \
                         " UNION  " KINOLOT_TV_RECORDS_FOUND

// Turns a sort column and direction into the ORDER BY text of a collection
// union, at most 99 characters. Sort titles compare upper-cased, sort times
// by year first; a column that is not a plain name sorts by title.
void BuildSortKey(const std::string& orderBy, _ORDER_DIRECTION_ direction, char (&key)[100]) {
  const char* word = direction == ORDER_DIRECTION_ASC ? "ASC" : "DESC";
  if (orderBy == "sort_title") {
    snprintf(key, sizeof(key), "upper_sort_title %s", word);
  } else if (orderBy == "sort_time") {
    snprintf(key, sizeof(key), "year %s, sort_time %s", word, word);
  } else {
    snprintf(key, sizeof(key), "%s %s", IsPlainSqlName(orderBy) ? orderBy.c_str() : "title", word);
  }
}

int ClampToInt(unsigned long value) {
  return value > static_cast<unsigned long>(INT_MAX) ? INT_MAX : static_cast<int>(value);
}

// Name list tables that a search joins; other criteria name a column of the
// branch itself (such as title).
bool IsJoinedNameTable(const std::string& name) {
  return name == "actor" || name == "director" || name == "writer";
}

}  // namespace

int VideoDB::SelectAllByCollectionID(const std::string& collectionId, const std::string& orderBy,
                                     _ORDER_DIRECTION_ direction, unsigned long offset,
                                     unsigned long limit) {
  int id = ParseDecimalInt(collectionId);
  char sortKey[100];
  BuildSortKey(orderBy, direction, sortKey);
  int kind = VEXODBDatabaseTypeGet(connection);

  HeapText sql;
  const char* format = limit != 0 ? kListPage : kListAll;
  if (limit != 0) {
    sql.reset(VEXODBEscapeStringEX3(kind, kListPage, id, id, id, id, sortKey, ClampToInt(offset),
                                    ClampToInt(limit)));
  } else {
    sql.reset(VEXODBEscapeStringEX3(kind, kListAll, id, id, id));
  }
  if (!RunStatement(this, sql, format, "COLLECTION", true)) return -1;
  return VEXODBNumRows(result);
}

int VideoDB::CollectionGlobalSearch(Json::Value criteria, const std::string& collectionId,
                                    const std::string& orderBy, _ORDER_DIRECTION_ direction,
                                    unsigned long offset, unsigned long limit) {
  DropResult(this);
  // The id stands unquoted in the statement.
  if (!IsDecimalId(collectionId)) {
    LogError("%s:%d Bad parameter: collection id [%s]", kVideoMetadataDbSource, __LINE__,
             collectionId.c_str());
    return -1;
  }
  char sortKey[100];
  BuildSortKey(orderBy, direction, sortKey);
  int kind = VEXODBDatabaseTypeGet(connection);

  // Each criterion is a name (a name list table, or a column of the videos)
  // and a text to find in it; the criteria are alternatives.
  std::vector<std::string> joins;
  std::vector<std::string> conditions;
  const std::vector<std::string> names =
      criteria.isObject() ? criteria.getMemberNames() : std::vector<std::string>();
  for (const std::string& name : names) {
    const Json::Value& value = static_cast<const Json::Value&>(criteria)[name];
    if (!IsPlainSqlName(name) || !value.isConvertibleTo(Json::stringValue)) continue;
    if (IsJoinedNameTable(name))
      joins.push_back("LEFT JOIN " + name + " ON mapper.id=" + name + ".mapper_id");
    HeapText escaped(VEXODBEscapeStringEX3(kind, "@VEXO:LVAR", value.asString().c_str()));
    if (!escaped) continue;
    char condition[1024];
    int length =
        snprintf(condition, sizeof(condition), "%s ilike '%%%s%%'", name.c_str(), escaped.get());
    // A cut condition would leave its quote open and let the statement's
    // own text be read as the pattern: leave it out instead.
    if (length < 0 || static_cast<size_t>(length) >= sizeof(condition)) continue;
    conditions.push_back(condition);
  }
  // Without a usable criterion the statement would end in "AND ()".
  if (conditions.empty()) {
    LogError("%s:%d Bad parameter: no search criteria", kVideoMetadataDbSource, __LINE__);
    return -1;
  }
  std::string joinText = StringImplode(joins, " ");
  std::string conditionText = StringImplode(conditions, " or ");
  const char* j = joinText.c_str();
  const char* c = conditionText.c_str();
  const char* id = collectionId.c_str();

  SqlText sql;
  if (limit != 0) {
    printfPQExpBuffer(sql.get(), KINOLOT_SEARCH_UNION " ORDER BY %s OFFSET %lu LIMIT %lu", j, id, c,
                      j, id, c, j, id, c, j, id, c, sortKey, offset, limit);
  } else {
    printfPQExpBuffer(sql.get(), KINOLOT_SEARCH_UNION " ORDER BY %s OFFSET %lu", j, id, c, j, id, c,
                      j, id, c, j, id, c, sortKey, offset);
  }
  if (!RunStatement(this, sql, "C_SEARCH", true)) return -1;
  return VEXODBNumRows(result);
}

}  // namespace LibKinolot
