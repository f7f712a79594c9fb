// VideoDB's writes on its main table: inserting a row and reading back its id,
// deleting by condition, updating one row from a column/value map, and
// rewriting the name list (actors, directors, writers, genres) of one video.
#include <cctype>
#include <cstdio>
#include <map>
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

// True for a text of ASCII letters and digits only, such as true, false, t, f,
// 1 or 0: such a boolean can stand bare in SQL.
bool IsBareWord(const std::string& text) {
  for (char c : text) {
    if (!std::isalnum(static_cast<unsigned char>(c))) return false;
  }
  return !text.empty();
}

// The name list writes run on the rows of one mapper id of one of the four
// list tables, both standing unquoted in their statements: any other table
// and anything but a decimal id are refused.
bool AcceptListRows(const std::string& table, const std::string& mapperId) {
  if (!IsNameListTable(table)) {
    LogError("%s:%d Bad parameter: list table [%s]", kVideoMetadataDbSource, __LINE__,
             table.c_str());
    return false;
  }
  if (mapperId.empty()) return false;
  if (!IsDecimalId(mapperId)) {
    LogError("%s:%d Bad parameter: mapper id [%s]", kVideoMetadataDbSource, __LINE__,
             mapperId.c_str());
    return false;
  }
  return true;
}

// Appends "column=value " for one entry of an update, rendered by the kind of
// the column.
void AppendAssignment(PQExpBuffer sql, const std::string& column, const std::string& value) {
  const char* name = column.c_str();
  if (column == "season" || column == "episode" || column == "year") {
    appendPQExpBuffer(sql, "%s=%d ", name, ParseDecimalInt(value));
  } else if (column == "originally_available" || column == "sort_time" || column == "record_time") {
    if (value.empty()) {
      appendPQExpBuffer(sql, "%s=NULL ", name);
    } else {
      appendPQExpBuffer(sql, "%s='%s' ", name, SQLEscapeString(value).c_str());
    }
  } else if (column == "isLock") {
    // The lock is a boolean written bare ("isLock=true"). A value that is not
    // a plain word is quoted instead, so that it can only ever be read as a
    // boolean literal (or be refused by the database), never as SQL.
    if (value.empty()) {
      appendPQExpBuffer(sql, "%s=%s ", name, "true");
    } else if (IsBareWord(value)) {
      appendPQExpBuffer(sql, "%s=%s ", name, SQLEscapeString(value).c_str());
    } else {
      appendPQExpBuffer(sql, "%s='%s' ", name, SQLEscapeString(value).c_str());
    }
  } else {
    appendPQExpBuffer(sql, "%s='%s' ", name, SQLEscapeString(value).c_str());
  }
}

}  // namespace

long VideoDB::InsertDB(const std::string& columnsAndValues) {
  if (columnsAndValues.empty()) return -1;
  char sql[2048];
  int length = snprintf(sql, sizeof(sql), "INSERT INTO %s%s RETURNING id", table_name.c_str(),
                        columnsAndValues.c_str());
  DropResult(this);
  // A statement cut at the buffer's end is never run: the cut could fall
  // inside a literal or drop part of the values.
  if (length < 0 || static_cast<size_t>(length) >= sizeof(sql)) {
    LogError("%s:%d INSERT too long = %s", kVideoMetadataDbSource, __LINE__, sql);
    return -1;
  }
  if (!RunStatement(this, sql, "INSERT", true)) return -1;
  if (VEXODBFetchRow(result, &row) != 0) return -1;
  const char* id = VEXODBFetchField(result, row, "id");
  if (id == nullptr || id[0] == '\0') return -1;
  return static_cast<long>(ParseDecimal(id));
}

bool VideoDB::DeleteDB(const std::string& where) {
  // Without a condition every row would go; that is never what a caller means.
  if (where.empty()) return false;
  char sql[2048];
  int length =
      snprintf(sql, sizeof(sql), "DELETE FROM %s WHERE %s", table_name.c_str(), where.c_str());
  DropResult(this);
  // A cut condition could match more rows than the whole one: never run it.
  if (length < 0 || static_cast<size_t>(length) >= sizeof(sql)) {
    LogError("%s:%d DELETE too long = %s", kVideoMetadataDbSource, __LINE__, sql);
    return false;
  }
  return RunStatement(this, sql, "DELETE", true);
}

bool VideoDB::UpdateDBEx(const std::string& keyColumn, const std::string& keyValue,
                         const std::map<std::string, std::string>& fields) {
  if (keyValue.empty()) return false;
  // Column names stand in the statement as they are: a text that is not a
  // plain name could carry SQL of its own, and is refused before any runs.
  bool plainNames = IsPlainSqlName(keyColumn);
  for (const auto& field : fields) plainNames = plainNames && IsPlainSqlName(field.first);
  if (!plainNames) {
    LogError("%s:%d Bad parameter: column name", kVideoMetadataDbSource, __LINE__);
    return false;
  }
  SqlText sql;
  printfPQExpBuffer(sql.get(), "UPDATE %s ", table_name.c_str());
  appendPQExpBufferStr(sql.get(), "SET ");
  bool first = true;
  for (const auto& field : fields) {
    if (!first) appendPQExpBufferStr(sql.get(), ",");
    first = false;
    AppendAssignment(sql.get(), field.first, field.second);
  }
  // With no fields at all this leaves "SET , modify_date", which the database
  // refuses: an update that changes nothing is reported as a failure.
  appendPQExpBufferStr(sql.get(), ", modify_date = current_timestamp ");
  appendPQExpBuffer(sql.get(), "WHERE %s.%s=%d ", table_name.c_str(), keyColumn.c_str(),
                    ParseDecimalInt(keyValue));
  return RunStatement(this, sql, "UPDATE", false);
}

bool VideoDB::UpdateDB(const std::string& id, const std::map<std::string, std::string>& fields) {
  return UpdateDBEx("id", id, fields);
}

bool VideoDB::InsertList(const std::string& mapperId, const std::vector<std::string>& names) {
  if (!AcceptListRows(table_name, mapperId)) return false;
  DropResult(this);
  // The list tables name their value column after themselves.
  static const char kInsert[] =
      "INSERT INTO @VEXO:VAR(@VEXO:VAR, mapper_id) VALUES('@VEXO:VAR', @VEXO:VAR)";
  for (const std::string& name : names) {
    HeapText sql(VEXODBEscapeStringEX3(VEXODBDatabaseTypeGet(connection), kInsert,
                                       table_name.c_str(), table_name.c_str(), name.c_str(),
                                       mapperId.c_str()));
    if (!RunStatement(this, sql, kInsert, "INSERT", false)) return false;
  }
  return true;
}

bool VideoDB::DeleteList(const std::string& mapperId) {
  if (!AcceptListRows(table_name, mapperId)) return false;
  static const char kDelete[] = "DELETE FROM @VEXO:VAR WHERE mapper_id = @VEXO:VAR";
  HeapText sql(VEXODBEscapeStringEX3(VEXODBDatabaseTypeGet(connection), kDelete, table_name.c_str(),
                                     mapperId.c_str()));
  return RunStatement(this, sql, kDelete, "DELETE", false);
}

}  // namespace LibKinolot
