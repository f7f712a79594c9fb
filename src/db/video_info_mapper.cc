// Mapper rows and identity look-ups: every video, show and file hangs on one
// row of `mapper`; these functions create, find and delete those rows, and
// find the mapper of a stored video by its identity.
#include "db/video_info_mapper.h"

#include <cstdlib>
#include <string>

#include "db/video_info_common.h"
#include "foundation/heap_text.h"
#include "foundation/video_types.h"
#include "kinolot/platform/vlib_c.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

// The first row's "mapper_id" of "SELECT columns FROM tables WHERE
// condition", or -1 when there is no row or the select fails.
int FirstMapperId(const char* tables, const char* columns, const char* condition) {
  HandlerOwner handle(VideoDBOpenEX(tables, columns, condition, nullptr, nullptr, 0, 0));
  if (!handle || handle->row_count < 1) return -1;
  if (VEXODBFetchRow(handle->result, &handle->row) != 0) return -1;
  return static_cast<int>(RowNumber(handle.get(), "mapper_id"));
}

int MapperIdOfTable(_VIDEO_TABLE_TYPE_ table, _VIDEO_INFO_* info) {
  const char* tables = nullptr;
  const char* columns = "mapper_id";
  HeapText condition;
  switch (table) {
    case VIDEO_TABLE_MOVIE:
      tables = "movie";
      condition.reset(VEXODBEscapeStringEX3(
          kVexoDBKindPostgreSQL, "UPPER(title) = UPPER('@VEXO:VAR') AND year = @VEXO:INT",
          FieldText(info->title).c_str(), info->year));
      break;
    case VIDEO_TABLE_TVSHOW:
      tables = "tvshow";
      condition.reset(VEXODBEscapeStringEX3(
          kVexoDBKindPostgreSQL, "UPPER(title) = UPPER('@VEXO:VAR') AND year = @VEXO:INT",
          FieldText(info->title).c_str(), info->tvshow_year));
      break;
    case VIDEO_TABLE_TVSHOW_EPISODE:
      tables = "tvshow,tvshow_episode";
      columns = "tvshow_episode.mapper_id as mapper_id";
      condition.reset(VEXODBEscapeStringEX3(
          kVexoDBKindPostgreSQL,
          "UPPER(tvshow.title) = UPPER('@VEXO:VAR') AND tvshow.year= @VEXO:INT AND tvshow.id = "
          "tvshow_episode.tvshow_id AND tvshow_episode.season = @VEXO:INT AND "
          "tvshow_episode.episode = @VEXO:INT",
          FieldText(info->title).c_str(), info->tvshow_year, info->season, info->episode));
      break;
    case VIDEO_TABLE_HOME_VIDEO:
    case VIDEO_TABLE_TV_RECORD:
      // The record time goes in pre-quoted, or as NULL, which never equals
      // anything: a recording without a time is stored anew every time.
      if (info->record_time[0] != '\0' && !IsWellFormedDate(info->record_time)) {
        LogError("%s:%d Bad date: %s", kVideoDbSource, __LINE__,
                 FieldText(info->record_time).c_str());
        return -1;
      }
      tables = table == VIDEO_TABLE_HOME_VIDEO ? "home_video" : "tv_record";
      condition.reset(VEXODBEscapeStringEX3(
          kVexoDBKindPostgreSQL, "UPPER(title) = UPPER('@VEXO:VAR') AND record_time = @VEXO:NEVAR",
          FieldText(info->title).c_str(), QuotedDate(info->record_time).c_str()));
      break;
    case VIDEO_TABLE_VIDEO_FILE:
      tables = "video_file";
      condition.reset(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, "path = '@VEXO:VAR'",
                                            FieldText(info->path).c_str()));
      break;
    default:
      LogError("%s:%d Bad video table type", kVideoDbSource, __LINE__);
      return -1;
  }
  if (!condition) {
    LogError("%s:%d Failed to VLIBCStrGetEx()[0x%04X]", kVideoDbSource, __LINE__, VLIBCErrGet());
    return -1;
  }
  return FirstMapperId(tables, columns, condition.get());
}

}  // namespace

int VideoInfoMapperSave(_VIDEO_TYPE_ type) {
  DBConnect_tag* connection = VideoDBConnGet();
  if (connection == nullptr) {
    LogError("%s:%d Failed to connect to database", kVideoDbSource, __LINE__);
    return -1;
  }
  HeapText sql(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL,
                                     "INSERT INTO mapper(type) VALUES('@VEXO:VAR') RETURNING id",
                                     VideoTypeGetName(type)));
  if (!sql) {
    LogError("%s:%d Failed to VLIBCStrGetEx()[0x%04X]", kVideoDbSource, __LINE__, VLIBCErrGet());
    return -1;
  }
  ResultOwner result;
  if (VEXODBSelectLimit(connection, sql.get(), -1, -1, result.out()) == -1) {
    LogError("%s:%d Failed to exec [%s] (%s)", kVideoDbSource, __LINE__, sql.get(),
             VEXODBErrorGet(connection));
    return -1;
  }
  unsigned int row = 0;
  if (VEXODBFetchRow(result.get(), &row) != 0) {
    LogError("%s:%d VEXODBFetchRow failed", kVideoDbSource, __LINE__);
    return -1;
  }
  const char* id = VEXODBFetchField(result.get(), row, "id");
  return id ? atoi(id) : -1;
}

int VideoInfoMapperDelete(int mapperId) {
  DBConnect_tag* connection = VideoDBConnGet();
  if (connection == nullptr) {
    LogError("%s (%d) Failed to connect to photo database", kVideoDbSource, __LINE__);
    return -1;
  }
  HeapText sql(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL,
                                     "DELETE FROM mapper WHERE id = @VEXO:INT", mapperId));
  if (!sql) {
    LogError("%s:%d Failed to VLIBCStrGetEx()[0x%04X]", kVideoDbSource, __LINE__, VLIBCErrGet());
    return -1;
  }
  ResultOwner result;
  if (VEXODBExecute(connection, sql.get(), result.out()) == -1) {
    LogError("%s:%d Failed to exec [%s] (%s)", kVideoDbSource, __LINE__, sql.get(),
             VEXODBErrorGet(connection));
    return -1;
  }
  return 0;
}

int VideoInfoMapperIDGet(_VIDEO_TABLE_TYPE_ table, _VIDEO_INFO_* info) {
  if (info == nullptr) {
    LogError("%s:%d Bad parameter.", kVideoDbSource, __LINE__);
    return -1;
  }
  return NoThrow(-1, __LINE__, [&] { return MapperIdOfTable(table, info); });
}

int VideoInfoMapperIDGet(_VIDEO_INFO_* info) {
  if (info == nullptr) {
    LogError("%s:%d Bad parameter.", kVideoDbSource, __LINE__);
    return -1;
  }
  switch (info->type) {
    case VIDEO_TYPE_MOVIE:
    case VIDEO_TYPE_TVSHOW:
    case VIDEO_TYPE_TVSHOW_EPISODE:
    case VIDEO_TYPE_HOME_VIDEO:
    case VIDEO_TYPE_TV_RECORD:
      // Types 1 to 5 share their numbers with the table types.
      return VideoInfoMapperIDGet(static_cast<_VIDEO_TABLE_TYPE_>(info->type), info);
    case VIDEO_TYPE_VIDEO_FILE:
      return VideoInfoMapperIDGet(VIDEO_TABLE_VIDEO_FILE, info);
    default:
      LogError("%s:%d Bad type: %d", kVideoDbSource, __LINE__, static_cast<int>(info->type));
      return -1;
  }
}

bool IsVideoInfoExisted(const char* path) {
  if (path == nullptr) return false;
  return FileMapperId(path) >= 0;
}

int GetTVShowMapperIDFromEpisode(int episodeMapperId) {
  HeapText condition(VEXODBEscapeStringEX3(
      kVexoDBKindPostgreSQL,
      "tvshow_episode.tvshow_id = tvshow.id AND tvshow_episode.mapper_id = @VEXO:INT",
      episodeMapperId));
  if (!condition) {
    LogError("%s:%d Failed to VLIBCStrGetEx()[0x%04X]", kVideoDbSource, __LINE__, VLIBCErrGet());
    return -1;
  }
  return FirstMapperId("tvshow,tvshow_episode", "tvshow.mapper_id", condition.get());
}

int VideoInfoMapperDeleteIfUnused(int kind, int mapperId) {
  const char* tables = "video_file";
  const char* columns = "mapper_id";
  const char* format = "mapper_id = @VEXO:INT";
  if (kind == VIDEO_TYPE_TVSHOW) {
    tables = "tvshow,tvshow_episode";
    columns = "tvshow.mapper_id";
    format = "tvshow.mapper_id = @VEXO:INT AND tvshow.id = tvshow_episode.tvshow_id";
  }
  HeapText condition(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, mapperId));
  if (!condition) {
    LogError("%s:%d Failed to VLIBCStrGetEx()[0x%04X]", kVideoDbSource, __LINE__, VLIBCErrGet());
    return -1;
  }
  HandlerOwner handle(VideoDBOpenEX(tables, columns, condition.get(), nullptr, nullptr, 0, 0));
  if (!handle) return -1;
  if (handle->row_count > 0) return 0;
  return VideoInfoMapperDelete(mapperId);
}

}  // namespace LibKinolot
