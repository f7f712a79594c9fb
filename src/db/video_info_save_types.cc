// The savers of the four kinds of description: each is an upsert by the
// kind's identity (title and year; show, season and episode; title and
// record time) that keeps an existing mapper id, followed by the side tables.
#include <string>

#include "db/video_info_common.h"
#include "db/video_info_mapper.h"
#include "db/video_info_save.h"
#include "db/video_info_side.h"
#include "foundation/heap_text.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

// plus_info is kept as styled JSON text; an empty value is stored as "".
std::string PlusInfoText(const Json::Value& value) {
  return value.empty() ? std::string() : value.toStyledString();
}

// Stores plus_info (when `plusInfo` is given) and summary under
// `mapperId`. Failures are logged and do not stop the save.
void SaveSideTexts(int mapperId, const Json::Value* plusInfo, const std::string& summary) {
  if (plusInfo != nullptr &&
      VideoInfoSideSave(VIDEO_TABLE_PLUS_INFO, mapperId, PlusInfoText(*plusInfo).c_str()) < 0) {
    LogError("%s:%d Save and return plus_info_id failed", kVideoDbSource, __LINE__);
  }
  if (VideoInfoSideSave(VIDEO_TABLE_SUMMARY, mapperId, summary.c_str()) < 0) {
    LogError("%s:%d Save and return summary_id failed", kVideoDbSource, __LINE__);
  }
}

// A new mapper of `kind` for a description that is not stored yet, or -1
// after logging the failure with the caller's `line`.
int NewMapper(_VIDEO_TYPE_ kind, int line) {
  int id = VideoInfoMapperSave(kind);
  if (id < 0) LogError("%s:%d VideoInfoMapperSave failed: %d", kVideoDbSource, line, id);
  return id;
}

// Runs the UPDATE or INSERT `sql` that a saver built for its description
// `id`, then stores the description's side texts: plus_info (when `plusInfo`
// is given) and summary. Returns `id`, or -1; a mapper that the saver
// `created` for an INSERT that fails goes again, or it would stay forever
// without a description.
int FinishUpsert(DBConnect_tag* connection, const HeapText& sql, int id, bool created,
                 const Json::Value* plusInfo, const char (&summary)[4096], int line) {
  if (!sql) {
    LogFormatFailure(line);
  } else if (ExecLogged(connection, sql.get(), line)) {
    SaveSideTexts(id, plusInfo, FieldText(summary));
    return id;
  }
  if (created) VideoInfoMapperDelete(id);
  return -1;
}

// The connection a saver works on, or null after logging a null record or a
// missing connection.
DBConnect_tag* SaverConnection(const _VIDEO_INFO_* info, int line) {
  if (info == nullptr) {
    LogError("%s:%d Bad parameter", kVideoDbSource, line);
    return nullptr;
  }
  return ConnectionOrLog(line);
}

// Saves the show of the episode `info`: returns its row id (what episodes
// refer to) and sets `*showMapper`, or returns -1.
int SaveShow(DBConnect_tag* connection, _VIDEO_INFO_* info, int* showMapper) {
  int mapperId = VideoInfoMapperIDGet(VIDEO_TABLE_TVSHOW, info);
  bool created = mapperId < 0;
  std::string sortTitle = FieldText(info->sort_title);
  std::string available = QuotedDate(info->tvshow_originally_available);
  std::string sortTime = QuotedDate(info->tvshow_sort_time);
  HeapText sql;
  if (mapperId >= 0) {
    sql.reset(VEXODBEscapeStringEX3(
        kVexoDBKindPostgreSQL,
        "UPDATE tvshow SET sort_title = '@VEXO:VAR', originally_available = @VEXO:NEVAR, "
        "sort_time = @VEXO:NEVAR, modify_date = current_timestamp WHERE mapper_id = @VEXO:INT "
        "RETURNING id",
        sortTitle.c_str(), available.c_str(), sortTime.c_str(), mapperId));
  } else {
    mapperId = NewMapper(VIDEO_TYPE_TVSHOW, __LINE__);
    if (mapperId < 0) return -1;
    sql.reset(VEXODBEscapeStringEX3(
        kVexoDBKindPostgreSQL,
        "INSERT INTO tvshow(title, sort_title, year, originally_available, sort_time, mapper_id) "
        "VALUES('@VEXO:VAR', '@VEXO:VAR', @VEXO:INT, @VEXO:NEVAR, @VEXO:NEVAR, @VEXO:INT) "
        "RETURNING id",
        FieldText(info->title).c_str(), sortTitle.c_str(), info->tvshow_year, available.c_str(),
        sortTime.c_str(), mapperId));
  }
  int showId = -1;
  if (!sql) {
    LogFormatFailure(__LINE__);
  } else {
    showId = ReturnedId(connection, sql.get(), __LINE__, "%s:%d Get tvshow_id failed");
  }
  if (showId < 0) {
    if (created) VideoInfoMapperDelete(mapperId);
    return -1;
  }
  SaveSideTexts(mapperId, &info->tvshow_plus_info, FieldText(info->tvshow_summary));
  *showMapper = mapperId;
  return showId;
}

// The upsert shared by home videos and TV recordings.
int SaveRecording(_VIDEO_INFO_* info, bool tvRecord) {
  DBConnect_tag* connection = SaverConnection(info, __LINE__);
  if (connection == nullptr) return -1;
  _VIDEO_TABLE_TYPE_ table = tvRecord ? VIDEO_TABLE_TV_RECORD : VIDEO_TABLE_HOME_VIDEO;
  int id = VideoInfoMapperIDGet(table, info);
  bool created = id < 0;
  std::string sortTitle = FieldText(info->sort_title);
  std::string channel = FieldText(info->channel_name);
  HeapText sql;
  if (!created) {
    if (tvRecord) {
      sql.reset(VEXODBEscapeStringEX3(
          kVexoDBKindPostgreSQL,
          "UPDATE tv_record SET channel_name = '@VEXO:VAR', sort_title = '@VEXO:VAR', "
          "modify_date = current_timestamp WHERE mapper_id = @VEXO:INT",
          channel.c_str(), sortTitle.c_str(), id));
    } else {
      sql.reset(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL,
                                      "UPDATE home_video SET sort_title = '@VEXO:VAR', modify_date "
                                      "= current_timestamp WHERE mapper_id = @VEXO:INT",
                                      sortTitle.c_str(), id));
    }
  } else {
    id = NewMapper(info->type, __LINE__);
    if (id < 0) return -1;
    std::string title = FieldText(info->title);
    std::string recordTime = QuotedDate(info->record_time);
    if (tvRecord) {
      sql.reset(VEXODBEscapeStringEX3(
          kVexoDBKindPostgreSQL,
          "INSERT INTO tv_record(title, sort_title, channel_name, record_time, mapper_id) "
          "VALUES('@VEXO:VAR', '@VEXO:VAR', '@VEXO:VAR', @VEXO:NEVAR, @VEXO:INT)",
          title.c_str(), sortTitle.c_str(), channel.c_str(), recordTime.c_str(), id));
    } else {
      sql.reset(VEXODBEscapeStringEX3(
          kVexoDBKindPostgreSQL,
          "INSERT INTO home_video(title, sort_title, record_time, mapper_id) VALUES('@VEXO:VAR', "
          "'@VEXO:VAR', @VEXO:NEVAR, @VEXO:INT)",
          title.c_str(), sortTitle.c_str(), recordTime.c_str(), id));
    }
  }
  return FinishUpsert(connection, sql, id, created, nullptr, info->summary, __LINE__);
}

}  // namespace

int VideoInfoMovieSave(_VIDEO_INFO_* info) {
  DBConnect_tag* connection = SaverConnection(info, __LINE__);
  if (connection == nullptr) return -1;
  int id = VideoInfoMapperIDGet(VIDEO_TABLE_MOVIE, info);
  bool created = id < 0;
  std::string sortTitle = FieldText(info->sort_title);
  std::string tagLine = FieldText(info->tag_line);
  std::string available = QuotedDate(info->originally_available);
  std::string sortTime = QuotedDate(info->sort_time);
  HeapText sql;
  if (!created) {
    // Title and year are the identity and stay as they are.
    sql.reset(VEXODBEscapeStringEX3(
        kVexoDBKindPostgreSQL,
        "UPDATE movie SET sort_title = '@VEXO:VAR', tag_line = '@VEXO:VAR', "
        "originally_available = @VEXO:NEVAR, sort_time = @VEXO:NEVAR, modify_date = "
        "current_timestamp WHERE mapper_id = @VEXO:INT",
        sortTitle.c_str(), tagLine.c_str(), available.c_str(), sortTime.c_str(), id));
  } else {
    id = VideoInfoMapperSave(info->type);
    if (id < 0) {
      LogError("%s:%d VideoInfoMapperSave failed for %s", kVideoDbSource, __LINE__,
               VideoTypeGetName(info->type));
      return -1;
    }
    sql.reset(VEXODBEscapeStringEX3(
        kVexoDBKindPostgreSQL,
        "INSERT INTO movie(title, sort_title, tag_line, year, originally_available, sort_time, "
        "mapper_id) VALUES('@VEXO:VAR', '@VEXO:VAR', '@VEXO:VAR', @VEXO:INT, @VEXO:NEVAR, "
        "@VEXO:NEVAR, @VEXO:INT)",
        FieldText(info->title).c_str(), sortTitle.c_str(), tagLine.c_str(), info->year,
        available.c_str(), sortTime.c_str(), id));
  }
  return FinishUpsert(connection, sql, id, created, &info->plus_info, info->summary, __LINE__);
}

int VideoInfoTVShowEpisodeSave(_VIDEO_INFO_* info) {
  DBConnect_tag* connection = SaverConnection(info, __LINE__);
  if (connection == nullptr) return -1;
  int showMapper = -1;
  int showId = SaveShow(connection, info, &showMapper);
  if (showId < 0) return -1;

  int id = VideoInfoMapperIDGet(VIDEO_TABLE_TVSHOW_EPISODE, info);
  bool created = id < 0;
  std::string tagLine = FieldText(info->tag_line);
  std::string available = QuotedDate(info->originally_available);
  std::string sortTime = QuotedDate(info->sort_time);
  HeapText sql;
  if (!created) {
    sql.reset(VEXODBEscapeStringEX3(
        kVexoDBKindPostgreSQL,
        "UPDATE tvshow_episode SET tag_line = '@VEXO:VAR', year = @VEXO:INT, "
        "originally_available = @VEXO:NEVAR, sort_time = @VEXO:NEVAR, modify_date = "
        "current_timestamp WHERE mapper_id = @VEXO:INT",
        tagLine.c_str(), info->year, available.c_str(), sortTime.c_str(), id));
  } else {
    id = NewMapper(VIDEO_TYPE_TVSHOW_EPISODE, __LINE__);
    if (id < 0) {
      VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_TVSHOW, showMapper);
      return -1;
    }
    sql.reset(VEXODBEscapeStringEX3(
        kVexoDBKindPostgreSQL,
        "INSERT INTO tvshow_episode(season, episode, tag_line, year, originally_available, "
        "sort_time, tvshow_id, mapper_id) VALUES(@VEXO:INT, @VEXO:INT, '@VEXO:VAR', @VEXO:INT, "
        "@VEXO:NEVAR, @VEXO:NEVAR, @VEXO:INT, @VEXO:INT)",
        info->season, info->episode, tagLine.c_str(), info->year, available.c_str(),
        sortTime.c_str(), showId, id));
  }
  id = FinishUpsert(connection, sql, id, created, &info->plus_info, info->summary, __LINE__);
  // A show left without episodes (one that this save created) goes as well.
  if (id < 0) VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_TVSHOW, showMapper);
  return id;
}

int VideoInfoHomeVideoSave(_VIDEO_INFO_* info) {
  return SaveRecording(info, false);
}

int VideoInfoTVRecordSave(_VIDEO_INFO_* info) {
  return SaveRecording(info, true);
}

}  // namespace LibKinolot
