// Reading a stored video back by its file's path: one joined row of the
// file, its description and the description's summary and extra information,
// decoded into the caller's record by the kind the caller expects, followed
// by the description's name lists.
#include <cstring>
#include <string>

#include "db/video_info_common.h"
#include "foundation/heap_text.h"
#include "kinolot/platform/vlib_c.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

// The SELECT that VideoInfoGetOneEx runs; null texts where it has none.
struct ReadQuery {
  HeapText tables;
  HeapText columns;  // null: every column
  HeapText condition;
};

bool BuildQuery(const char* path, _VIDEO_TYPE_ type, int prefix, ReadQuery* query) {
  const int kind = kVexoDBKindPostgreSQL;
  const char* file = "video_file";
  switch (type) {
    case VIDEO_TYPE_MOVIE: {
      const char* movie = "movie";
      const char* summary = "summary";
      const char* plus = "plus_info";
      query->tables.reset(VEXODBEscapeStringEX3(kind, "@VEXO:VAR, @VEXO:VAR, @VEXO:VAR, @VEXO:VAR",
                                                file, movie, summary, plus));
      query->condition.reset(VEXODBEscapeStringEX3(
          kind,
          "@VEXO:VAR.path = '@VEXO:VAR' AND @VEXO:VAR.mapper_id = @VEXO:VAR.mapper_id AND "
          "@VEXO:VAR.mapper_id= @VEXO:VAR.mapper_id AND @VEXO:VAR.mapper_id = @VEXO:VAR.mapper_id",
          file, path, file, movie, movie, summary, movie, plus));
      return query->tables && query->condition;
    }
    case VIDEO_TYPE_TVSHOW_EPISODE: {
      const char* ep = "tvshow_episode";
      const char* show = "tvshow";
      const char* summary = "summary";
      const char* plus = "plus_info";
      query->tables.reset(VEXODBEscapeStringEX3(
          kind,
          "@VEXO:VAR, @VEXO:VAR, @VEXO:VAR, @VEXO:VAR as @VEXO:VAR_@VEXO:VAR, @VEXO:VAR as "
          "@VEXO:VAR_@VEXO:VAR, @VEXO:VAR as @VEXO:VAR_@VEXO:VAR, @VEXO:VAR as @VEXO:VAR_@VEXO:VAR",
          file, ep, show, summary, ep, summary, summary, show, summary, plus, ep, plus, plus, show,
          plus));
      query->columns.reset(VEXODBEscapeStringEX3(
          kind,
          "tag_line, season, episode, @VEXO:VAR.year as @VEXO:VAR_year, "
          "@VEXO:VAR.originally_available as @VEXO:VAR_originally_available, "
          "@VEXO:VAR.sort_time as @VEXO:VAR_sort_time, @VEXO:VAR.create_date as "
          "@VEXO:VAR_create_date, @VEXO:VAR.modify_date as @VEXO:VAR_modify_date, "
          "@VEXO:VAR_@VEXO:VAR.summary as @VEXO:VAR_summary, @VEXO:VAR_@VEXO:VAR.plus_info as "
          "@VEXO:VAR_plus_info, title, sort_title, @VEXO:VAR.year as @VEXO:VAR_year, "
          "@VEXO:VAR.originally_available as @VEXO:VAR_originally_available, "
          "@VEXO:VAR.sort_time as @VEXO:VAR_sort_time, @VEXO:VAR.create_date as "
          "@VEXO:VAR_create_date, @VEXO:VAR.modify_date as @VEXO:VAR_modify_date, "
          "@VEXO:VAR_@VEXO:VAR.summary as @VEXO:VAR_summary, @VEXO:VAR_@VEXO:VAR.plus_info as "
          "@VEXO:VAR_plus_info",
          ep, ep, ep, ep, ep, ep, ep, ep, ep, ep, ep, summary, ep, ep, plus, ep, show, show, show,
          show, show, show, show, show, show, show, show, summary, show, show, plus, show));
      query->condition.reset(VEXODBEscapeStringEX3(
          kind,
          "@VEXO:VAR.path = '@VEXO:VAR' AND @VEXO:VAR.mapper_id = @VEXO:VAR.mapper_id AND "
          "@VEXO:VAR.tvshow_id = @VEXO:VAR.id AND @VEXO:VAR.mapper_id = "
          "@VEXO:VAR_@VEXO:VAR.mapper_id AND @VEXO:VAR.mapper_id = @VEXO:VAR_@VEXO:VAR.mapper_id "
          "AND @VEXO:VAR.mapper_id = @VEXO:VAR_@VEXO:VAR.mapper_id AND @VEXO:VAR.mapper_id = "
          "@VEXO:VAR_@VEXO:VAR.mapper_id",
          file, path, file, ep, ep, show, ep, ep, summary, ep, ep, plus, show, show, summary, show,
          show, plus));
      return query->tables && query->columns && query->condition;
    }
    case VIDEO_TYPE_HOME_VIDEO:
    case VIDEO_TYPE_TV_RECORD: {
      const char* table = VideoTypeGetName(type);
      const char* summary = "summary";
      query->tables.reset(
          VEXODBEscapeStringEX3(kind, "@VEXO:VAR, @VEXO:VAR, @VEXO:VAR", file, table, summary));
      query->condition.reset(VEXODBEscapeStringEX3(
          kind,
          "@VEXO:VAR.path = '@VEXO:VAR' AND @VEXO:VAR.mapper_id = @VEXO:VAR.mapper_id AND "
          "@VEXO:VAR.mapper_id = @VEXO:VAR.mapper_id",
          file, path, file, table, table, summary));
      return query->tables && query->condition;
    }
    default:  // the video file itself
      query->tables.reset(VEXODBEscapeStringEX3(kind, "@VEXO:VAR", file));
      // With a prefix the percent sign stands inside an equality and so
      // matches only itself.
      query->condition.reset(
          VEXODBEscapeStringEX3(kind, prefix ? "path = '%@VEXO:VAR'" : "path = '@VEXO:VAR'", path));
      return query->tables && query->condition;
  }
}

// Copies the text of `column` into `field`, bounded; NULL gives "".
template <size_t N>
void ReadText(_VIDEO_DB_HANDLER_* handle, const char* column, char (&field)[N]) {
  CopyText(field, VEXODBFetchField(handle->result, handle->row, column));
}

int32_t ReadInt(_VIDEO_DB_HANDLER_* handle, const char* column) {
  return static_cast<int32_t>(RowNumber(handle, column));
}

bool Has(_VIDEO_DB_HANDLER_* handle, const char* column) {
  return VEXODBFetchField(handle->result, handle->row, column) != nullptr;
}

// The stored extra information, kept as the text it was stored as.
Json::Value ReadPlusInfo(_VIDEO_DB_HANDLER_* handle, const char* column) {
  return Json::Value(RowText(handle, column));
}

void DecodeFile(_VIDEO_DB_HANDLER_* h, _VIDEO_INFO_* info) {
  ReadText(h, "path", info->path);
  info->resolutionX = ReadInt(h, "resolutionx");
  info->resolutionY = ReadInt(h, "resolutiony");
  ReadText(h, "video_codec", info->video_codec);
  ReadText(h, "audio_codec", info->audio_codec);
  ReadText(h, "container_type", info->container_type);
  info->frame_rate_num = ReadInt(h, "frame_rate_num");
  info->frame_rate_den = ReadInt(h, "frame_rate_den");
  info->frame_bitrate = ReadInt(h, "frame_bitrate");
  info->video_bitrate = ReadInt(h, "video_bitrate");
  info->audio_bitrate = ReadInt(h, "audio_bitrate");
  info->video_profile = ReadInt(h, "video_profile");
  info->video_level = ReadInt(h, "video_level");
  info->frequency = ReadInt(h, "frequency");
  info->duration = static_cast<float>(RowNumber(h, "duration"));
  info->channel = ReadInt(h, "channel");
  info->filesize = RowNumber(h, "filesize");
}

// Both dates of a row land in `modify_date`, the second over the first;
// `create_date` keeps what the caller had.
void ReadDates(_VIDEO_DB_HANDLER_* h, const std::string& prefix, _VIDEO_INFO_* info) {
  ReadText(h, (prefix + "create_date").c_str(), info->modify_date);
  ReadText(h, (prefix + "modify_date").c_str(), info->modify_date);
}

void DecodeMovie(_VIDEO_DB_HANDLER_* h, _VIDEO_INFO_* info) {
  ReadText(h, "tag_line", info->tag_line);
  ReadText(h, "title", info->title);
  ReadText(h, "sort_title", info->sort_title);
  info->year = ReadInt(h, "year");
  ReadText(h, "originally_available", info->originally_available);
  ReadText(h, "sort_time", info->sort_time);
  ReadDates(h, "", info);
  ReadText(h, "summary", info->summary);
  info->plus_info = ReadPlusInfo(h, "plus_info");
}

// The year, dates and texts that an episode row carries twice, under the
// aliases of the episode ("tvshow_episode_...") and of its show
// ("tvshow_...").
void ReadAliased(_VIDEO_DB_HANDLER_* h, const std::string& prefix, int32_t* year,
                 char (&available)[32], char (&sortTime)[32], char (&summary)[4096],
                 Json::Value* plusInfo) {
  *year = ReadInt(h, (prefix + "year").c_str());
  ReadText(h, (prefix + "originally_available").c_str(), available);
  ReadText(h, (prefix + "sort_time").c_str(), sortTime);
  ReadText(h, (prefix + "summary").c_str(), summary);
  *plusInfo = ReadPlusInfo(h, (prefix + "plus_info").c_str());
}

void DecodeEpisode(_VIDEO_DB_HANDLER_* h, _VIDEO_INFO_* info) {
  info->season = ReadInt(h, "season");
  info->episode = ReadInt(h, "episode");
  ReadText(h, "tag_line", info->tag_line);
  ReadAliased(h, "tvshow_episode_", &info->year, info->originally_available, info->sort_time,
              info->summary, &info->plus_info);
  ReadDates(h, "tvshow_episode_", info);
  ReadText(h, "title", info->title);
  ReadText(h, "sort_title", info->sort_title);
  ReadAliased(h, "tvshow_", &info->tvshow_year, info->tvshow_originally_available,
              info->tvshow_sort_time, info->tvshow_summary, &info->tvshow_plus_info);
}

void DecodeRecording(_VIDEO_DB_HANDLER_* h, _VIDEO_INFO_* info) {
  if (info->type == VIDEO_TYPE_TV_RECORD) ReadText(h, "channel_name", info->channel_name);
  ReadText(h, "title", info->title);
  ReadText(h, "sort_title", info->sort_title);
  ReadText(h, "record_time", info->record_time);
  ReadDates(h, "", info);
  ReadText(h, "summary", info->summary);
}

int DecodeRow(_VIDEO_DB_HANDLER_* handle, _VIDEO_INFO_* info) {
  if (VEXODBFetchRow(handle->result, &handle->row) != 0) return -1;
  if (Has(handle, "path") && info->type == VIDEO_TYPE_VIDEO_FILE) {
    DecodeFile(handle, info);
  } else if (Has(handle, "tag_line") && info->type == VIDEO_TYPE_MOVIE) {
    DecodeMovie(handle, info);
  } else if (Has(handle, "season") && info->type == VIDEO_TYPE_TVSHOW_EPISODE) {
    DecodeEpisode(handle, info);
  } else if (Has(handle, "channel_name") && info->type == VIDEO_TYPE_TV_RECORD) {
    DecodeRecording(handle, info);
  } else if (info->type == VIDEO_TYPE_HOME_VIDEO) {
    DecodeRecording(handle, info);
  }
  return 0;
}

// Replaces the list of `table` in `names` by the names stored for
// `mapperId`, in the order they were stored.
void ReadNames(const char* table, int mapperId, std::list<std::string>* names) {
  HandlerOwner handle = SelectById(table, table, "mapper_id = @VEXO:INT", mapperId, "id", __LINE__);
  if (!handle) return;
  names->clear();
  while (VEXODBFetchRow(handle->result, &handle->row) == 0) {
    names->push_back(RowText(handle.get(), table));
  }
}

int GetOne(const char* path, _VIDEO_INFO_* info, int prefix) {
  switch (info->type) {
    case VIDEO_TYPE_MOVIE:
    case VIDEO_TYPE_TVSHOW_EPISODE:
    case VIDEO_TYPE_HOME_VIDEO:
    case VIDEO_TYPE_TV_RECORD:
    case VIDEO_TYPE_VIDEO_FILE:
      break;
    default:
      LogError("%s:%d Bad video type: %d", kVideoDbSource, __LINE__, static_cast<int>(info->type));
      return -1;
  }
  ReadQuery query;
  if (!BuildQuery(path, info->type, prefix, &query)) {
    LogError("%s (%d) Failed to VLIBCStrGetEx()[0x%04X]", kVideoDbSource, __LINE__, VLIBCErrGet());
    return -1;
  }
  HandlerOwner handle(VideoDBOpenEX(query.tables.get(), query.columns.get(), query.condition.get(),
                                    nullptr, nullptr, 0, 0));
  if (!handle || handle->row_count < 1) return -1;
  if (DecodeRow(handle.get(), info) != 0) return -1;
  if (info->type == VIDEO_TYPE_VIDEO_FILE) return 0;

  // The name lists are not part of the joined row: they are read by the
  // description's mapper, which the episode's column list does not carry.
  int mapperId = Has(handle.get(), "mapper_id")
                     ? static_cast<int>(RowNumber(handle.get(), "mapper_id"))
                     : FileMapperId(path);
  if (mapperId >= 0) {
    ReadNames("writer", mapperId, &info->writer);
    ReadNames("director", mapperId, &info->director);
    ReadNames("gnere", mapperId, &info->gnere);
    ReadNames("actor", mapperId, &info->actor);
  }
  return 0;
}

}  // namespace

int VideoInfoGetOneEx(const char* path, _VIDEO_INFO_* info, int prefix) {
  if (path == nullptr || info == nullptr) return -1;
  return NoThrow(-1, __LINE__, [&] { return GetOne(path, info, prefix); });
}

int VideoInfoGetOne(const char* path, _VIDEO_INFO_* info) {
  return VideoInfoGetOneEx(path, info, 0);
}

int VideoInfoGet(_VIDEO_DB_HANDLER_* handle, _VIDEO_INFO_* info) {
  if (handle == nullptr || info == nullptr) {
    LogError("%s (%d) Bad parameter.", kVideoDbSource, __LINE__);
    return -1;
  }
  return NoThrow(-1, __LINE__, [&] { return DecodeRow(handle, info); });
}

}  // namespace LibKinolot
