// Saving what the scanner found: a file's technical data, then the
// description it shows, after which the file row is pointed at the
// description and whatever that left without a file is dropped.
#include <cmath>
#include <string>

#include "db/video_info_common.h"
#include "db/video_info_mapper.h"
#include "db/video_info_save.h"
#include "db/video_info_side.h"
#include "foundation/heap_text.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

// Whole seconds of `duration`, truncated toward zero; values no int can hold
// are clamped, and a value that is no number counts as 0.
int DurationSeconds(float duration) {
  if (std::isnan(duration)) return 0;
  if (duration >= 2147483647.0f) return 2147483647;
  if (duration <= -2147483648.0f) return -2147483647 - 1;
  return static_cast<int>(duration);
}

// Whether every date of `info` that its kind stores can be stored; logs the
// first that cannot. Checked before any statement, so that a date the server
// would refuse never fails a save halfway.
bool DatesWellFormed(const _VIDEO_INFO_* info) {
  const char(*dates[4])[32] = {};
  switch (info->type) {
    case VIDEO_TYPE_TVSHOW_EPISODE:
      dates[2] = &info->tvshow_originally_available;
      dates[3] = &info->tvshow_sort_time;
      [[fallthrough]];
    case VIDEO_TYPE_MOVIE:
      dates[0] = &info->originally_available;
      dates[1] = &info->sort_time;
      break;
    default:
      dates[0] = &info->record_time;
      break;
  }
  for (const char(*date)[32] : dates) {
    if (date != nullptr && !IsStorableDate(*date)) {
      LogError("%s:%d Bad date: %s", kVideoDbSource, __LINE__, FieldText(*date).c_str());
      return false;
    }
  }
  return true;
}

int SaveFile(_VIDEO_INFO_VIDEO_FILE_* file) {
  DBConnect_tag* connection = ConnectionOrLog(__LINE__);
  if (connection == nullptr) return -1;
  std::string path = FieldText(file->path);
  std::string videoCodec = FieldText(file->video_codec);
  std::string audioCodec = FieldText(file->audio_codec);
  std::string container = FieldText(file->container_type);
  long long filesize = file->filesize;
  int duration = DurationSeconds(file->duration);
  HeapText sql;
  // The mapper made for a new file; dropped again if the file row is not
  // stored, since nothing else would ever remove it.
  int newMapper = -1;
  if (VideoInfoMapperIDGet(VIDEO_TABLE_VIDEO_FILE, file) < 0) {
    // A failed mapper insert shows up as the file insert's failure.
    newMapper = VideoInfoMapperSave(file->video_type);
    sql.reset(VEXODBEscapeStringEX3(
        kVexoDBKindPostgreSQL,
        "INSERT INTO video_file(mapper_id, path, filesize, frame_bitrate, duration, resolutionX, "
        "resolutionY, audio_bitrate, frequency, channel, video_codec, audio_codec, video_profile, "
        "video_level, container_type, frame_rate_num, frame_rate_den, video_bitrate, "
        "updated)VALUES(@VEXO:INT, '@VEXO:VAR', @VEXO:LLINT, @VEXO:INT, @VEXO:INT, @VEXO:INT, "
        "@VEXO:INT, @VEXO:INT, @VEXO:INT, @VEXO:INT, '@VEXO:VAR', '@VEXO:VAR', @VEXO:INT, "
        "@VEXO:INT, '@VEXO:VAR', @VEXO:INT, @VEXO:INT, @VEXO:INT, '1')",
        newMapper, path.c_str(), filesize, file->frame_bitrate, duration, file->resolutionX,
        file->resolutionY, file->audio_bitrate, file->frequency, file->channel, videoCodec.c_str(),
        audioCodec.c_str(), file->video_profile, file->video_level, container.c_str(),
        file->frame_rate_num, file->frame_rate_den, file->video_bitrate));
  } else {
    // A known file keeps its mapper: it may already show a description.
    sql.reset(VEXODBEscapeStringEX3(
        kVexoDBKindPostgreSQL,
        "UPDATE video_file SET filesize = @VEXO:LLINT, frame_bitrate = @VEXO:INT, duration = "
        "@VEXO:INT, resolutionX = @VEXO:INT, resolutionY = @VEXO:INT, audio_bitrate = @VEXO:INT, "
        "frequency = @VEXO:INT, channel = @VEXO:INT, modify_date = current_timestamp, video_codec "
        "= '@VEXO:VAR', audio_codec = '@VEXO:VAR', video_profile = @VEXO:INT, video_level = "
        "@VEXO:INT, container_type = '@VEXO:VAR', frame_rate_num = @VEXO:INT, frame_rate_den = "
        "@VEXO:INT, video_bitrate = @VEXO:INT, updated = '1' WHERE path = '@VEXO:VAR'",
        filesize, file->frame_bitrate, duration, file->resolutionX, file->resolutionY,
        file->audio_bitrate, file->frequency, file->channel, videoCodec.c_str(), audioCodec.c_str(),
        file->video_profile, file->video_level, container.c_str(), file->frame_rate_num,
        file->frame_rate_den, file->video_bitrate, path.c_str()));
  }
  if (!sql) {
    LogFormatFailure(__LINE__);
  } else {
    ResultOwner result;
    if (VEXODBExecute(connection, sql.get(), result.out()) != -1) return 0;
    LogError("%s (%d) Failed to exec [%s] (%s)", kVideoDbSource, __LINE__, sql.get(),
             VEXODBErrorGet(connection));
  }
  if (newMapper >= 0) VideoInfoMapperDelete(newMapper);
  return -1;
}

// Removes the description `id` of kind `type` again when no file shows it,
// and its show when that was its last episode: what a save leaves behind
// when linking the file failed.
void DropUnlinked(_VIDEO_TYPE_ type, int id) {
  int show = type == VIDEO_TYPE_TVSHOW_EPISODE ? GetTVShowMapperIDFromEpisode(id) : -1;
  VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_VIDEO_FILE, id);
  if (show >= 0) VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_TVSHOW, show);
}

int SaveDescription(const char* path, _VIDEO_INFO_* info) {
  FillVideoInfo(info);
  int id = -1;
  switch (info->type) {
    case VIDEO_TYPE_MOVIE:
    case VIDEO_TYPE_TVSHOW_EPISODE:
    case VIDEO_TYPE_HOME_VIDEO:
    case VIDEO_TYPE_TV_RECORD:
      break;
    default:
      // A show is saved only through its episodes.
      LogError("%s:%d Bad video type: %d", kVideoDbSource, __LINE__, static_cast<int>(info->type));
      return -1;
  }
  if (!DatesWellFormed(info)) return -1;
  switch (info->type) {
    case VIDEO_TYPE_MOVIE:
      id = VideoInfoMovieSave(info);
      if (id < 0) LogError("%s:%d VideoInfoMovieSave failed: %s", kVideoDbSource, __LINE__, path);
      break;
    case VIDEO_TYPE_TVSHOW_EPISODE:
      id = VideoInfoTVShowEpisodeSave(info);
      if (id < 0) {
        LogError("%s:%d VideoInfoTVShowEpisodeSave failed: %s", kVideoDbSource, __LINE__, path);
      }
      break;
    case VIDEO_TYPE_HOME_VIDEO:
      id = VideoInfoHomeVideoSave(info);
      if (id < 0) {
        LogError("%s:%d VideoInfoHomeVideoSave failed: %s", kVideoDbSource, __LINE__, path);
      }
      break;
    default:
      id = VideoInfoTVRecordSave(info);
      if (id < 0) {
        LogError("%s:%d VideoInfoTVRecordSave failed: %s", kVideoDbSource, __LINE__, path);
      }
      break;
  }
  if (id < 0) return -1;

  VideoInfoNameListSave(id, VIDEO_TABLE_WRITER, info->writer);
  VideoInfoNameListSave(id, VIDEO_TABLE_DIRECTOR, info->director);
  VideoInfoNameListSave(id, VIDEO_TABLE_ACTOR, info->actor);
  VideoInfoNameListSave(id, VIDEO_TABLE_GNERE, info->gnere);

  // The saver's id is handed on: a recording without a record time cannot be
  // found again by its identity, yet its file must point at it.
  if (VideoInfoUpdateVideoFile(path, info, id) < 0) {
    LogError("%s:%d VideoInfoUpdateVideoFile failed: %s", kVideoDbSource, __LINE__, path);
    DropUnlinked(info->type, id);
    return -1;
  }
  return 0;
}

}  // namespace

int VideoInfoVideoFileSave(_VIDEO_INFO_VIDEO_FILE_* file) {
  if (file == nullptr || file->path[0] == '\0') {
    LogError("%s:%d Bad parameter", kVideoDbSource, __LINE__);
    return -1;
  }
  return NoThrow(-1, __LINE__, [&] { return SaveFile(file); });
}

int VideoInfoSave(const char* path, _VIDEO_INFO_* info) {
  if (info == nullptr || !PathFits(path)) {
    LogError("%s:%d Bad parameter", kVideoDbSource, __LINE__);
    return -1;
  }
  return NoThrow(-1, __LINE__, [&] { return SaveDescription(path, info); });
}

int VideoInfoUpdateVideoFile(const char* path, _VIDEO_INFO_* info, int mapperId) {
  if (path == nullptr || info == nullptr) {
    LogError("%s:%d Bad parameter", kVideoDbSource, __LINE__);
    return -1;
  }
  bool episode = info->type == VIDEO_TYPE_TVSHOW_EPISODE;
  char boundedPath[sizeof(info->path)];
  CopyText(boundedPath, path);
  int oldId = FileMapperId(boundedPath);
  // The show of the file's former description is looked up whatever the new
  // kind: a file that turns from an episode into a movie must not leave the
  // show behind without episodes. An episode asks even when the file has no
  // row yet (the answer is then -1).
  int oldShow = oldId >= 0 || episode ? GetTVShowMapperIDFromEpisode(oldId) : -1;

  int newId = mapperId;
  if (newId < 0) {
    FillVideoInfo(info);
    newId = VideoInfoMapperIDGet(info);
  }
  int newShow = episode ? GetTVShowMapperIDFromEpisode(newId) : -1;
  if (newId < 0) {
    LogError("%s:%d Fail to get mapper_id from each video type table", kVideoDbSource, __LINE__);
    return -1;
  }
  if (episode && newShow < 0) {
    LogError("%s:%d Fail to get TVShow mapper_id", kVideoDbSource, __LINE__);
    return -1;
  }

  if (oldId < 0) {
    // Every description hangs on a file: one saved for a path without a
    // file row goes again at once, unless another file already uses it.
    VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_VIDEO_FILE, newId);
    if (newShow >= 0) VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_TVSHOW, newShow);
    return 0;
  }

  DBConnect_tag* connection = ConnectionOrLog(__LINE__);
  if (connection == nullptr) return -1;
  if (!ExecFormatted(connection, __LINE__,
                     "UPDATE video_file SET mapper_id = @VEXO:INT, updated = 1, "
                     "modify_date = current_timestamp WHERE path = '@VEXO:VAR'",
                     newId, boundedPath)) {
    return -1;
  }
  VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_VIDEO_FILE, oldId);
  if (episode || oldShow >= 0) VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_TVSHOW, oldShow);
  return 0;
}

}  // namespace LibKinolot
