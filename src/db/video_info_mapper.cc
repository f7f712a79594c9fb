// Mapper rows and identity look-ups: every video, show and file hangs on one
// row of `mapper`; these functions create, find and delete those rows, and
// find the mapper of a stored video by its identity.
#include "db/video_info_mapper.h"

#include <string>

#include "db/video_info_common.h"
#include "foundation/heap_text.h"
#include "foundation/video_types.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

// The first row's "mapper_id" of the select `handle`, or -1 when there is no
// row or the select failed (null).
int FirstMapperId(HandlerOwner handle) {
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
      if (!IsStorableDate(info->record_time)) {
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
    LogFormatFailure(__LINE__);
    return -1;
  }
  return FirstMapperId(
      HandlerOwner(VideoDBOpenEX(tables, columns, condition.get(), nullptr, nullptr, 0, 0)));
}

}  // namespace

int VideoInfoMapperSave(_VIDEO_TYPE_ type) {
  DBConnect_tag* connection = ConnectionOrLog(__LINE__);
  if (connection == nullptr) return -1;
  HeapText sql(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL,
                                     "INSERT INTO mapper(type) VALUES('@VEXO:VAR') RETURNING id",
                                     VideoTypeGetName(type)));
  if (!sql) {
    LogFormatFailure(__LINE__);
    return -1;
  }
  return ReturnedId(connection, sql.get(), __LINE__);
}

int VideoInfoMapperDelete(int mapperId) {
  DBConnect_tag* connection = VideoDBConnGet();
  if (connection == nullptr) {
    LogError("%s (%d) Failed to connect to photo database", kVideoDbSource, __LINE__);
    return -1;
  }
  return ExecFormatted(connection, __LINE__, "DELETE FROM mapper WHERE id = @VEXO:INT", mapperId)
             ? 0
             : -1;
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
  return FirstMapperId(
      SelectById("tvshow,tvshow_episode", "tvshow.mapper_id",
                 "tvshow_episode.tvshow_id = tvshow.id AND tvshow_episode.mapper_id = @VEXO:INT",
                 episodeMapperId, nullptr, __LINE__));
}

int VideoInfoMapperDeleteIfUnused(int kind, int mapperId) {
  HandlerOwner handle =
      kind == VIDEO_TYPE_TVSHOW
          ? SelectById("tvshow,tvshow_episode", "tvshow.mapper_id",
                       "tvshow.mapper_id = @VEXO:INT AND tvshow.id = tvshow_episode.tvshow_id",
                       mapperId, nullptr, __LINE__)
          : SelectById("video_file", "mapper_id", "mapper_id = @VEXO:INT", mapperId, nullptr,
                       __LINE__);
  if (!handle) return -1;
  if (handle->row_count > 0) return 0;
  return VideoInfoMapperDelete(mapperId);
}

}  // namespace LibKinolot
