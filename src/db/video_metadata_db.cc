// VideoDB, the query builder: construction and ownership of the connection,
// the joins and conditions that accumulate on an object, the SELECT it
// assembles from them, totals, the row cursor, single fields, and the test
// for videos missing from a name list.
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "db/video_db_connection.h"
#include "db/video_metadata_db_internal.h"
#include "foundation/log.h"
#include "foundation/sql_words.h"
#include "kinolot/platform/vlib_c.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_metadata_db.h"

namespace LibKinolot {

int64_t ParseDecimal(const char* text) {
  if (text == nullptr) return 0;
  long long value = std::strtoll(text, nullptr, 10);
  return static_cast<int64_t>(value);
}

int ParseDecimalInt(const std::string& text) {
  int64_t value = ParseDecimal(text);
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}

bool IsDecimalId(const std::string& text) {
  size_t start = !text.empty() && text[0] == '-' ? 1 : 0;
  if (start == text.size()) return false;
  for (size_t i = start; i < text.size(); ++i) {
    if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

void DropResult(VideoDB* db) {
  VEXODBFreeResult(db->result);
  db->result = nullptr;
}

bool RunStatement(VideoDB* db, const char* sql, const char* label, bool keep) {
  DropResult(db);
  if (VEXODBExecute(db->connection, sql, keep ? &db->result : nullptr) == -1) {
    LogError("%s:%d %s = %s", kVideoMetadataDbSource, __LINE__, label, sql);
    DropResult(db);
    return false;
  }
  return true;
}

bool RunStatement(VideoDB* db, const SqlText& sql, const char* label, bool keep) {
  if (sql.broken()) {
    DropResult(db);
    LogError("%s:%d Out of memory", kVideoMetadataDbSource, __LINE__);
    return false;
  }
  return RunStatement(db, sql.text(), label, keep);
}

bool RunStatement(VideoDB* db, const HeapText& sql, const char* format, const char* label,
                  bool keep) {
  if (!sql) {
    DropResult(db);
    LogError("%s:%d Failed to format [%s] [0x%04X]", kVideoMetadataDbSource, __LINE__, format,
             VLIBCErrGet());
    return false;
  }
  return RunStatement(db, sql.get(), label, keep);
}

namespace {

// The join text of each table that SelectDB knows how to join, tried in this
// order; the first whose table name equals the entry wins. The summary and
// plus_info joins compare an unqualified mapper_id, and the tvshow_episode
// and tvshow joins are the same text, so either side of a show/episode query
// can ask for the other.
struct JoinRule {
  _VIDEO_TABLE_TYPE_ type;
  const char* text;
};
const JoinRule kJoinRules[] = {
    {VIDEO_TABLE_SUMMARY, " LEFT JOIN %s ON mapper_id=summary.mapper_id"},
    {VIDEO_TABLE_PLUS_INFO, " LEFT JOIN %s ON mapper_id=plus_info.mapper_id"},
    {VIDEO_TABLE_TVSHOW_EPISODE, " LEFT JOIN %s ON tvshow.id=tvshow_episode.tvshow_id"},
    {VIDEO_TABLE_ACTOR, " LEFT JOIN %s ON mapper.id=actor.mapper_id"},
    {VIDEO_TABLE_DIRECTOR, " LEFT JOIN %s ON mapper.id=director.mapper_id"},
    {VIDEO_TABLE_WRITER, " LEFT JOIN %s ON mapper.id=writer.mapper_id"},
    {VIDEO_TABLE_GNERE, " LEFT JOIN %s ON mapper.id=gnere.mapper_id"},
    {VIDEO_TABLE_TVSHOW, " LEFT JOIN %s ON tvshow.id=tvshow_episode.tvshow_id"},
    {VIDEO_TABLE_VIDEO_FILE, " LEFT JOIN %s ON mapper.id=video_file.mapper_id"},
    {VIDEO_TABLE_MAPPER, " LEFT JOIN %s ON mapper.id=%s.mapper_id"},
    {VIDEO_TABLE_COLLECTION, " LEFT JOIN %s ON collection_id=collection.id"},
};

// Appends the join of `table` to `sql`; a table without a rule adds nothing.
void AppendJoin(VideoDB* db, const std::string& table, PQExpBuffer sql) {
  for (const JoinRule& rule : kJoinRules) {
    if (db->mapping[rule.type] != table) continue;
    if (rule.type == VIDEO_TABLE_MAPPER) {
      // A show has no mapper of its episodes' kind; its videos are reached
      // through the episodes, which the query joins as well.
      const char* owner = db->table_name == "tvshow" ? "tvshow_episode" : db->table_name.c_str();
      appendPQExpBuffer(sql, rule.text, table.c_str(), owner);
    } else {
      appendPQExpBuffer(sql, rule.text, table.c_str());
    }
    return;
  }
}

// Sort columns that are ordered by year first, then by themselves.
bool IsSortTime(const std::string& column) {
  return column == "tvshow.sort_time" || column == "tvshow_episode.sort_time" ||
         column == "movie.sort_time";
}

// Sort columns holding text, which sort without regard to case.
bool IsTextColumn(const std::string& column) {
  static const char* const kTextColumns[] = {"title",    "tag_line", "actor",
                                             "director", "writer",   "gnere"};
  for (const char* text : kTextColumns) {
    if (column.find(text) != std::string::npos) return true;
  }
  return false;
}

}  // namespace

VideoDB::VideoDB(DBConnect_tag* connection, const std::string& table)
    : connection(connection), result(nullptr), row(0) {
  if (this->connection == nullptr) {
    this->connection = OpenConnectionOrLog(kVideoMetadataDbSource, __LINE__);
  }
  if (!table.empty()) table_name = table;
}

VideoDB::~VideoDB() {
  VEXODBFreeResult(result);
  if (connection != nullptr) VEXODBClose(connection);
}

void VideoDB::AddCondtion(const std::string& condition) {
  if (!condition.empty()) conditions.push_back(condition);
}

void VideoDB::AddJoinTable(const std::string& table) {
  if (table.empty()) return;
  for (const std::string& joined : join_tables) {
    if (joined == table) return;
  }
  join_tables.push_back(table);
}

int VideoDB::SelectDB(const std::string& select, const std::string& orderBy,
                      _ORDER_DIRECTION_ direction, unsigned long offset, unsigned long limit,
                      const std::string& groupBy) {
  if (select.empty()) return -1;

  SqlText sql;
  printfPQExpBuffer(sql.get(), "SELECT %s FROM %s", select.c_str(), table_name.c_str());
  for (const std::string& table : join_tables) AppendJoin(this, table, sql.get());
  if (!conditions.empty()) {
    appendPQExpBuffer(sql.get(), " WHERE %s ", StringImplode(conditions, " and ").c_str());
  }
  if (!groupBy.empty()) appendPQExpBuffer(sql.get(), " GROUP BY %s ", groupBy.c_str());
  const char* word = direction == ORDER_DIRECTION_ASC ? "ASC" : "DESC";
  if (!orderBy.empty()) {
    if (IsSortTime(orderBy)) {
      appendPQExpBuffer(sql.get(), " ORDER BY %s %s, %s %s", (table_name + ".year").c_str(), word,
                        orderBy.c_str(), word);
    } else if (IsTextColumn(orderBy)) {
      appendPQExpBuffer(sql.get(), " ORDER BY UPPER(%s) %s", orderBy.c_str(), word);
    } else {
      appendPQExpBuffer(sql.get(), " ORDER BY %s %s", orderBy.c_str(), word);
    }
  }
  if (offset != 0) appendPQExpBuffer(sql.get(), " OFFSET %lu ", offset);
  if (limit != 0) appendPQExpBuffer(sql.get(), " LIMIT %lu ", limit);

  if (!RunStatement(this, sql, "SQL", true)) return -1;
  return VEXODBNumRows(result);
}

long VideoDB::SelectTotal(const std::string& select) {
  char list[200];
  if (select.empty()) {
    snprintf(list, sizeof(list), "COUNT(DISTINCT %s.id) as total", table_name.c_str());
  } else {
    snprintf(list, sizeof(list), "%s", select.c_str());
  }
  if (SelectDB(list, "", ORDER_DIRECTION_ASC, 0, 0, "") == -1) return -1;
  if (!NextRow()) return 0;
  return static_cast<long>(ParseDecimal(VEXODBFetchField(result, row, "total")));
}

bool VideoDB::NextRow() {
  if (result == nullptr) return false;
  return VEXODBFetchRow(result, &row) == 0;
}

std::string VideoDB::FetchField(const std::string& column) {
  if (column.empty() || result == nullptr) return "";
  return szValueCheck(VEXODBFetchField(result, row, column.c_str()));
}

bool VideoDB::CategoryHasUnknown(const std::string& table, const std::string& listTable) {
  // Both names stand in the statement as they are: only plain names.
  if (!IsPlainSqlName(table) || !IsPlainSqlName(listTable)) return false;
  SqlText sql;
  printfPQExpBuffer(sql.get(), "SELECT mapper_id FROM %s EXCEPT SELECT mapper_id FROM %s",
                    table.c_str(), listTable.c_str());
  return RunStatement(this, sql, "Search Unknown", true) && VEXODBNumRows(result) > 0;
}

}  // namespace LibKinolot
