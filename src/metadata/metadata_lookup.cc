// Field look-ups of the edit side: one value of one row, the item that owns a
// video file, the release date an edit keeps, and "|"-separated lists. Each
// look-up runs at most one query, on a VideoDB of its own.
#include <cstdio>

#include "foundation/sql_words.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {

std::string VideoMetadataAPI::GetFieldValueByKey(const std::string& table, const std::string& key,
                                                 const std::string& value,
                                                 const std::string& field) {
  // The value is joined to the condition as it stands (callers pass ids and
  // literals they quoted themselves), so whatever could end the condition
  // early is refused here rather than sent.
  if (!IsPlainSqlName(table) || !IsPlainSqlName(key) || !IsPlainSqlName(field) ||
      !IsSqlLiteral(value)) {
    return std::string();
  }
  VideoDB db(nullptr, table);
  db.AddCondtion(key + "=" + value);
  int rows = db.SelectDB(field, "", ORDER_DIRECTION_ASC, 0, 1, "");
  if (rows < 1 || !db.NextRow()) return std::string();
  return db.FetchField(field);
}

std::string VideoMetadataAPI::GetFieldValueById(const std::string& table, const std::string& id,
                                                const std::string& field) {
  return GetFieldValueByKey(table, "id", id, field);
}

bool VideoMetadataAPI::GetIDByVideoID(_VIDEO_TABLE_TYPE_ type, const std::string& videoId,
                                      std::string& id) {
  if (type < VIDEO_TABLE_MOVIE || type > VIDEO_TABLE_TV_RECORD) return false;
  if (!IsDecimalText(videoId)) return false;
  const std::string fileTable = MetadataTableName(VIDEO_TABLE_VIDEO_FILE);
  char condition[2048];
  snprintf(condition, sizeof(condition), "mapper_id IN ( SELECT mapper_id FROM %s WHERE %s.id=%s )",
           fileTable.c_str(), fileTable.c_str(), videoId.c_str());

  VideoDB db(nullptr, MetadataTableName(type));
  db.AddCondtion(condition);
  int rows = db.SelectDB("id", "", ORDER_DIRECTION_ASC, 0, 1, "");
  if (rows == -1) return false;
  if (rows > 0 && db.NextRow()) id = db.FetchField("id");
  return true;
}

bool VideoMetadataAPI::GetODate(_VIDEO_TABLE_TYPE_ type, const std::string& id, const char* odate,
                                std::string& out) {
  out.clear();
  if (id.empty()) return false;
  if (odate != nullptr) {
    out = odate;
    return true;
  }
  // Only movies, shows and episodes have a release date of their own.
  if (type == VIDEO_TABLE_MOVIE || type == VIDEO_TABLE_TVSHOW ||
      type == VIDEO_TABLE_TVSHOW_EPISODE) {
    out = GetFieldValueById(MetadataTableName(type), id, "originally_available");
  }
  return true;
}

void VideoMetadataAPI::StringToList(const std::string& text, std::list<std::string>& out) {
  for (std::string& piece : StringExplode(text, "|")) out.push_back(std::move(piece));
}

bool VideoMetadataAPI::DatabaseAnswers() {
  VideoDB db(nullptr, "");
  if (db.connection == nullptr) return false;
  return VEXODBExecute(db.connection, "SELECT 1", nullptr) == 0;
}

}  // namespace LibKinolot
