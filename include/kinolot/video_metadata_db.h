// VideoDB: one main table on one connection. Callers add join tables and
// WHERE conditions piece by piece, run one SELECT (or a total) whose text the
// object assembles, then walk the rows and read fields or decode whole rows
// into _VIDEO_INFO_ALL_. The same object runs inserts, updates, deletes, name
// list rewrites and the collection unions on its table.
//
// Typical use:
//
//   VideoDB db(nullptr, "movie");            // opens a connection of its own
//   db.AddJoinTable("actor");
//   db.AddCondtion("actor.actor = 'Ann'");   // conditions must be safe SQL
//   if (db.SelectDB("*", "title", ORDER_DIRECTION_ASC, 0, 50, "") > 0) {
//     _VIDEO_INFO_ALL_ row;
//     while (db.NextRow() && db.FetchVideoItem(row)) { ... }
//   }
//
// Values inside conditions are the caller's to escape (SQLEscapeString, or
// the placeholder formatter). Failures are logged to syslog with the source
// name "video_metadata_db" and returned as -1, false or ""; the object stays
// usable after a failed statement. An object is used by one thread at a time.
#ifndef KINOLOT_VIDEO_METADATA_DB_H_
#define KINOLOT_VIDEO_METADATA_DB_H_

#include <json/json.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "kinolot/export.h"
#include "kinolot/mapping_tables.h"
#include "kinolot/platform/vexo_db.h"
#include "kinolot/video_types.h"

namespace LibKinolot {

class KINOLOT_EXPORT VideoDB {
 public:
  // Takes ownership of `connection`; when it is null, opens a connection of
  // its own (user "admin", database "video_metadata"). A failed connect
  // leaves `connection` null and every statement then fails. `table` names
  // the main table; it may be empty for objects that only decode rows.
  VideoDB(DBConnect_tag* connection, const std::string& table);
  // Closes the connection, whoever opened it, and frees the last result.
  virtual ~VideoDB();
  VideoDB(const VideoDB&) = delete;
  VideoDB& operator=(const VideoDB&) = delete;

  // Adds a WHERE condition (joined with " and "); an empty text is ignored,
  // duplicates are kept. The spelling of the name is part of the interface.
  void AddCondtion(const std::string& condition);
  // Adds a table to join, unless it is empty or already added.
  void AddJoinTable(const std::string& table);

  // Runs a SELECT of `select` over the main table with the joins and
  // conditions added so far. `orderBy` may be empty (no ORDER BY); `offset`
  // and `limit` of 0 mean none; `groupBy` may be empty. Returns the number of
  // rows, or -1 on failure and for an empty `select`.
  int SelectDB(const std::string& select, const std::string& orderBy, _ORDER_DIRECTION_ direction,
               unsigned long offset, unsigned long limit, const std::string& groupBy);
  // Returns the count that `select` (a list whose count column is named
  // "total"; empty means "COUNT(DISTINCT <table>.id) as total") yields under
  // the current joins and conditions: the count, 0 when no row came back, or
  // -1 on failure.
  long SelectTotal(const std::string& select);
  // Advances to the next row of the current result; false when there is no
  // result or no row left.
  bool NextRow();
  // Returns the named column of the current row; "" for an empty name, no
  // result, SQL NULL or an unknown column.
  std::string FetchField(const std::string& column);
  // Returns whether some video of `table` has no row in `listTable`; false on
  // failure and, before any statement, when either is not a plain name.
  // Replaces the current result.
  bool CategoryHasUnknown(const std::string& table, const std::string& listTable);

  // Decodes row `row` of `result` into `*item`, every known column looked up
  // by name; absent columns, NULLs and texts that are no number give "" or 0.
  // Ids and bit rates keep the low 32 bits of a larger number, while season,
  // episode, duration, resolution and channel stop at the 32-bit bounds.
  // Returns false, writing nothing, when `result` or `item` is null.
  bool DBRecToData(DBResult_tag* result, unsigned int row, _VIDEO_INFO_ALL_* item);
  // Decodes the current row into `item`; false when there is no result.
  bool FetchVideoItem(_VIDEO_INFO_ALL_& item);

  // Runs "INSERT INTO <table><columnsAndValues> RETURNING id", the argument
  // carrying its own column list and VALUES part, already made safe. Returns
  // the new row's id, or -1 (also for an empty argument, and for a statement
  // longer than 2047 bytes, which is not run).
  long InsertDB(const std::string& columnsAndValues);
  // Deletes the rows of the main table that match `where` (safe SQL). An
  // empty `where`, and a statement longer than 2047 bytes, return false
  // without running anything. Returns whether it ran.
  bool DeleteDB(const std::string& where);
  // Updates the row whose `keyColumn` equals `keyValue` (a decimal number)
  // from `fields` (column -> value; values are escaped here, columns are
  // inserted verbatim and must be plain names, else false before anything
  // runs), and sets modify_date. "season",
  // "episode" and "year" are written as integers, empty dates as NULL, and
  // "isLock" bare (an empty value meaning true; a value that is not a plain
  // word is quoted, so that it can only be a boolean literal). An empty
  // `keyValue` returns false without running anything; an empty `fields`
  // map gives a statement that the database refuses, so false as well.
  bool UpdateDBEx(const std::string& keyColumn, const std::string& keyValue,
                  const std::map<std::string, std::string>& fields);
  // UpdateDBEx("id", id, fields).
  bool UpdateDB(const std::string& id, const std::map<std::string, std::string>& fields);
  // Inserts one row per name into the main table, a name list table (actor,
  // director, writer, gnere) whose value column has the table's name. Stops at
  // the first failure; names inserted before it stay. Another main table and
  // a `mapperId` that is not a decimal number (empty included) return false
  // without running anything; an empty list returns true.
  bool InsertList(const std::string& mapperId, const std::vector<std::string>& names);
  // Deletes every row of `mapperId` from the main table (a name list table).
  // Another main table and a `mapperId` that is not a decimal number (empty
  // included) return false without running anything.
  bool DeleteList(const std::string& mapperId);

  // Lists the videos of every kind in collection `collectionId`, as one
  // sorted, paged union (columns id, mapper_id, title, upper_sort_title,
  // originally_available, year, sort_time, type). `orderBy` "sort_title"
  // sorts by upper-cased sort title, "sort_time" by year then sort time, a
  // plain column name by itself, anything else by title. With `limit` 0 the
  // listing is the one callers count for totals: neither sorted nor paged,
  // and its episodes are the collected episodes of every collection. Returns
  // the number of rows, or -1.
  int SelectAllByCollectionID(const std::string& collectionId, const std::string& orderBy,
                              _ORDER_DIRECTION_ direction, unsigned long offset,
                              unsigned long limit);
  // Searches collection `collectionId` by names: each member of `criteria`
  // (an object) names a list table ("actor", "director", "writer", which are
  // joined) or a column of the videos (such as "title") and holds a text to
  // find in it, ignoring case; the members are alternatives. Members whose
  // name is not a plain SQL name, whose value is an array or object, or whose
  // condition would not fit 1023 bytes are left out. Sorted as
  // SelectAllByCollectionID; `limit` 0 means all rows from `offset`. Returns
  // the number of rows, or -1 (also when `collectionId` is not a decimal id,
  // and when no member is left; nothing is run then).
  int CollectionGlobalSearch(Json::Value criteria, const std::string& collectionId,
                             const std::string& orderBy, _ORDER_DIRECTION_ direction,
                             unsigned long offset, unsigned long limit);

  // The state of the object, in order. Owned: `connection` (closed by the
  // destructor) and `result` (replaced by every statement).
  DBConnect_tag* connection;
  DBResult_tag* result;
  uint32_t row;                          // the current row, written by NextRow
  std::string table_name;                // the main table
  std::vector<std::string> conditions;   // joined with " and "
  std::vector<std::string> join_tables;  // without duplicates, in order of addition
  MappingTable mapping;                  // the object's own table-type map
};

}  // namespace LibKinolot

#endif  // KINOLOT_VIDEO_METADATA_DB_H_
