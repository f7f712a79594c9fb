// The side tables of a stored video: its summary and extra information (one
// row each per mapper) and its writer, director, actor and genre names (one
// row per name, rewritten whole on every save).
#include "db/video_info_side.h"

#include <cstdio>

#include "db/video_info_common.h"
#include "foundation/heap_text.h"
#include "foundation/video_types.h"

namespace LibKinolot {

int VideoInfoSideSave(_VIDEO_TABLE_TYPE_ table, int mapperId, const char* text) {
  if (table != VIDEO_TABLE_SUMMARY && table != VIDEO_TABLE_PLUS_INFO) {
    LogError("%s:%d Bad table type", kVideoDbSource, __LINE__);
    return -1;
  }
  // The text column carries the table's own name.
  const char* name = VideoTableTypeGetName(table);
  if (text == nullptr) text = "";

  char condition[64];
  snprintf(condition, sizeof(condition), "mapper_id = %d", mapperId);
  HeapText sql;
  if (VideoDBGetCount(table, "id", condition, nullptr) < 1) {
    sql.reset(VEXODBEscapeStringEX3(
        kVexoDBKindPostgreSQL,
        "INSERT INTO @VEXO:VAR(@VEXO:VAR, mapper_id) VALUES('@VEXO:VAR', @VEXO:INT) RETURNING id",
        name, name, text, mapperId));
  } else {
    sql.reset(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL,
                                    "UPDATE @VEXO:VAR SET @VEXO:VAR = '@VEXO:VAR', modify_date = "
                                    "current_timestamp WHERE mapper_id = @VEXO:INT RETURNING id",
                                    name, name, text, mapperId));
  }
  if (!sql) {
    LogError("%s:%d Failed to malloc", kVideoDbSource, __LINE__);
    return -1;
  }
  DBConnect_tag* connection = ConnectionOrLog(__LINE__);
  if (connection == nullptr) return -1;
  return ReturnedId(connection, sql.get(), __LINE__);
}

int VideoInfoNameListSave(int mapperId, _VIDEO_TABLE_TYPE_ table, std::list<std::string> names) {
  if (table != VIDEO_TABLE_WRITER && table != VIDEO_TABLE_DIRECTOR && table != VIDEO_TABLE_ACTOR &&
      table != VIDEO_TABLE_GNERE) {
    LogError("%s:%d Bad table type", kVideoDbSource, __LINE__);
    return -1;
  }
  DBConnect_tag* connection = ConnectionOrLog(__LINE__);
  if (connection == nullptr) return -1;
  // The name column carries the table's own name.
  const char* name = VideoTableTypeGetName(table);
  if (!ExecFormatted(connection, __LINE__, "DELETE FROM @VEXO:VAR WHERE mapper_id = @VEXO:INT",
                     name, mapperId)) {
    return -1;
  }
  int status = 0;
  for (const std::string& entry : names) {
    if (!ExecFormatted(connection, __LINE__,
                       "INSERT INTO @VEXO:VAR(@VEXO:VAR, mapper_id) VALUES('@VEXO:VAR', @VEXO:INT)",
                       name, name, entry.c_str(), mapperId)) {
      status = -1;
    }
  }
  return status;
}

}  // namespace LibKinolot
