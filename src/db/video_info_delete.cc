// What the scanner calls when files go or move: deleting a file (and the
// description nothing else uses), a whole folder, moving a description's
// files, and the user locks that keep a description while its file exists.
#include "db/video_info_delete.h"

#include <strings.h>
#include <unistd.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "db/video_info_common.h"
#include "db/video_info_mapper.h"
#include "foundation/heap_text.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

constexpr size_t kPathSize = sizeof(_VIDEO_INFO_::path);
constexpr size_t kTypeNameSize = 255;

bool IsEmpty(const char* text) {
  return text == nullptr || text[0] == '\0';
}

// Whether the first row of the select `handle` has a column among `columns`
// whose text starts with 't', the database's word for true.
bool AnyLocked(HandlerOwner handle, std::initializer_list<const char*> columns) {
  if (!handle || VEXODBFetchRow(handle->result, &handle->row) != 0) return false;
  for (const char* column : columns) {
    const char* value = VEXODBFetchField(handle->result, handle->row, column);
    if (value != nullptr && value[0] == 't') return true;
  }
  return false;
}

// Collects the paths of the files under `folder` (which ends in a slash)
// into `paths`; false when they could not be listed.
bool PathsUnder(const char* folder, std::vector<std::string>* paths) {
  HeapText condition(
      VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, "path like '@VEXO:LVAR%'", folder));
  if (!condition) {
    LogFormatFailure(__LINE__);
    return false;
  }
  HandlerOwner handle(VideoDBOpenEX("video_file", "path", condition.get(), nullptr, nullptr, 0, 0));
  if (!handle) return false;
  while (VEXODBFetchRow(handle->result, &handle->row) == 0) {
    paths->push_back(RowText(handle.get(), "path"));
  }
  return true;
}

// The text of a path argument of VideoInfoRename: an absent path reads as
// "" and so fits; anything else must fit a path field uncut.
bool RenamePathFits(const char* path) {
  return path == nullptr || PathFits(path);
}

}  // namespace

int VideoInfoMapperTypeGet(int mapperId, char* out, size_t capacity) {
  if (out == nullptr || capacity == 0) return -1;
  HandlerOwner handle = SelectById("mapper", "type", "id = @VEXO:INT", mapperId, nullptr, __LINE__);
  if (!handle || VEXODBFetchRow(handle->result, &handle->row) != 0) return -1;
  CopyText(out, capacity, VEXODBFetchField(handle->result, handle->row, "type"));
  return 0;
}

bool VideoInfoIsLock(const char* path) {
  if (path == nullptr) return false;
  return NoThrow(false, __LINE__, [&] {
    int id = FileMapperId(path);
    if (id < 0) return false;
    char type[kTypeNameSize];
    if (VideoInfoMapperTypeGet(id, type, sizeof(type)) != 0) return false;
    if (strcasecmp(type, VideoTypeGetName(VIDEO_TYPE_MOVIE)) == 0) {
      return AnyLocked(
          SelectById("movie", "isLock", "mapper_id = @VEXO:INT", id, nullptr, __LINE__),
          {"islock"});
    }
    if (strcasecmp(type, VideoTypeGetName(VIDEO_TYPE_TVSHOW_EPISODE)) == 0) {
      // A locked show locks every one of its episodes.
      return AnyLocked(
          SelectById("tvshow_episode as a, tvshow as b",
                     "a.isLock as episodeLock, b.isLock as tvshowLock",
                     "a.mapper_id = @VEXO:INT AND a.tvshow_id = b.id", id, nullptr, __LINE__),
          {"episodelock", "tvshowlock"});
    }
    return false;
  });
}

int VideoInfoDelete(const char* path, bool force) {
  if (IsEmpty(path) || !PathFits(path)) {
    LogError("%s:%d Bad parameter", kVideoDbSource, __LINE__);
    return -1;
  }
  // A lock keeps the description only while its file is really there.
  if (!force && VideoInfoIsLock(path) && access(path, F_OK) == 0) return -1;
  DBConnect_tag* connection = VideoDBConnGet();
  if (connection == nullptr) {
    LogError("%s:%d Failed to connect to photo database", kVideoDbSource, __LINE__);
    return -1;
  }
  return NoThrow(-1, __LINE__, [&] {
    char boundedPath[kPathSize];
    CopyText(boundedPath, path);
    int id = FileMapperId(boundedPath);
    if (id < 0) return -1;
    char type[kTypeNameSize] = "";
    VideoInfoMapperTypeGet(id, type, sizeof(type));
    int showId = strcasecmp(type, VideoTypeGetName(VIDEO_TYPE_TVSHOW_EPISODE)) == 0
                     ? GetTVShowMapperIDFromEpisode(id)
                     : -1;
    if (!ExecFormatted(connection, __LINE__, "DELETE FROM @VEXO:VAR WHERE path = '@VEXO:VAR'",
                       "video_file", boundedPath)) {
      return -1;
    }
    VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_VIDEO_FILE, id);
    if (showId >= 0) VideoInfoMapperDeleteIfUnused(VIDEO_TYPE_TVSHOW, showId);
    return 0;
  });
}

int VideoInfoDirDelete(const char* dir, bool force) {
  if (IsEmpty(dir) || strnlen(dir, kPathSize) >= kPathSize) {
    LogError("%s:%d Bad parameter", kVideoDbSource, __LINE__);
    return -1;
  }
  return NoThrow(-1, __LINE__, [&] {
    // The trailing slash keeps /v/a from matching the files of /v/ab.
    std::string folder(dir);
    if (folder.back() != '/') folder += '/';
    std::vector<std::string> paths;
    if (!PathsUnder(folder.c_str(), &paths)) return -1;
    for (const std::string& path : paths) VideoInfoDelete(path.c_str(), force);
    return 0;
  });
}

int VideoInfoRename(const char* newPath, const char* oldPath) {
  // A path cut to its field would name another file, or none: refused.
  if ((IsEmpty(newPath) && IsEmpty(oldPath)) || !RenamePathFits(newPath) ||
      !RenamePathFits(oldPath)) {
    LogError("%s:%d Bad parameter", kVideoDbSource, __LINE__);
    return -1;
  }
  return NoThrow(-1, __LINE__, [&] {
    int id = FileMapperId(oldPath);
    if (id < 0) {
      LogError("%s:%d There is no any record in DB", kVideoDbSource, __LINE__);
      return -1;
    }
    DBConnect_tag* connection = ConnectionOrLog(__LINE__);
    if (connection == nullptr) return -1;
    char boundedPath[kPathSize];
    CopyText(boundedPath, newPath);
    // Every file row of the description moves, not only the one of oldPath.
    return ExecFormatted(connection, __LINE__,
                         "UPDATE @VEXO:VAR SET path = '@VEXO:VAR', modify_date = "
                         "current_timestamp WHERE mapper_id = @VEXO:INT",
                         "video_file", boundedPath, id)
               ? 0
               : -1;
  });
}

}  // namespace LibKinolot
