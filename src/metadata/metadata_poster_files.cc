// Poster files of the metadata API: the stored digest of an item's poster,
// the location of an item's files, and the poster images that lie beside a TV
// show's videos named after the show, carried along when the show is renamed
// or merged into another show. Nothing here logs; results say it all.
#include <libgen.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "kinolot/platform/vexo_file.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {

namespace {

// Capacity of a condition text; a condition that would not fit is refused
// rather than cut.
constexpr size_t kConditionCapacity = 1024;

// The two extensions a poster file may have, in the order they are tried.
const char* const kPosterExtensions[] = {".jpg", ".png"};

// Formats a condition into `out`; false when it would not fit.
bool FormatCondition(std::string& out, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

bool FormatCondition(std::string& out, const char* format, ...) {
  char buffer[kConditionCapacity];
  va_list args;
  va_start(args, format);
  int length = vsnprintf(buffer, sizeof(buffer), format, args);
  va_end(args);
  if (length < 0 || static_cast<size_t>(length) >= sizeof(buffer)) return false;
  out.assign(buffer, static_cast<size_t>(length));
  return true;
}

// True when `title` names a file directly inside a folder: a title with a
// slash or a NUL, or one that is "." or "..", would reach elsewhere.
bool IsFileNameTitle(const std::string& title) {
  return !title.empty() && title != "." && title != ".." && title.find('/') == std::string::npos &&
         title.find('\0') == std::string::npos;
}

// The folder of `path` as dirname gives it, worked out on a copy since
// dirname may write into its argument. False for an empty path: a show
// without files has no folder, and dirname would answer ".".
bool FolderOf(const std::string& path, std::string& folder) {
  if (path.empty()) return false;
  std::string copy = path;
  const char* dir = dirname(&copy[0]);
  if (dir == nullptr) return false;
  folder = dir;
  return true;
}

// The extension under which `base` has a poster file, or null.
const char* ExistingPosterExtension(const std::string& base) {
  for (const char* extension : kPosterExtensions) {
    if (IsFileExist((base + extension).c_str())) return extension;
  }
  return nullptr;
}

// The folder of a show's files and the show's title; false when the show
// cannot be looked up or has neither.
bool ShowFolderAndTitle(VideoMetadataAPI& api, const std::string& tvshowId, std::string& folder,
                        std::string& title) {
  std::string path;
  if (!api.Poster_GetFilePath(VIDEO_TABLE_TVSHOW, tvshowId, path, title)) return false;
  return FolderOf(path, folder);
}

}  // namespace

bool VideoMetadataAPI::Poster_MD5(const std::string& mapperId, std::string& md5) {
  // The id stands unquoted in the condition.
  if (!IsDecimalText(mapperId)) return false;
  std::string condition;
  if (!FormatCondition(condition, "%s=%s", "mapper_id", mapperId.c_str())) return false;

  // The poster table is named here: the table-type map leaves it out.
  VideoDB db(nullptr, "poster");
  db.AddCondtion(condition);
  if (db.SelectDB("md5", "", ORDER_DIRECTION_ASC, 0, 1, "") == -1) return false;
  while (db.NextRow()) {
    if (db.result == nullptr) return false;
    md5 = db.FetchField("md5");
  }
  return true;
}

bool VideoMetadataAPI::Poster_GetFilePath(_VIDEO_TABLE_TYPE_ type, const std::string& id,
                                          std::string& path, std::string& title) {
  if (type < VIDEO_TABLE_MOVIE || type > VIDEO_TABLE_TV_RECORD) return false;
  if (!IsDecimalText(id)) return false;

  // A show has no files of its own: its episodes have.
  const bool isShow = type == VIDEO_TABLE_TVSHOW;
  const std::string innerTable = MetadataTableName(isShow ? VIDEO_TABLE_TVSHOW_EPISODE : type);
  const char* keyColumn = isShow ? "tvshow_id" : "id";
  const std::string showTable = MetadataTableName(VIDEO_TABLE_TVSHOW);
  std::string fileCondition;
  if (!FormatCondition(fileCondition, "mapper_id IN ( SELECT mapper_id FROM %s WHERE %s=%s )",
                       innerTable.c_str(), keyColumn, id.c_str())) {
    return false;
  }
  std::string showCondition;
  if (isShow && !FormatCondition(showCondition, "%s.id=%s", showTable.c_str(), id.c_str())) {
    return false;
  }

  VideoDB files(nullptr, MetadataTableName(VIDEO_TABLE_VIDEO_FILE));
  files.AddCondtion(fileCondition);
  if (files.SelectDB("path", "", ORDER_DIRECTION_ASC, 0, 1, "") == -1) return false;
  _VIDEO_INFO_ALL_ file{};
  while (files.NextRow()) {
    if (!files.FetchVideoItem(file)) return false;
  }
  std::string filePath = FieldText(file.path);

  if (!isShow) {
    path = filePath;
    return true;
  }

  VideoDB shows(nullptr, showTable);
  shows.AddCondtion(showCondition);
  if (shows.SelectDB("title", "", ORDER_DIRECTION_ASC, 0, 0, "") == -1) return false;
  _VIDEO_INFO_ALL_ show{};
  while (shows.NextRow()) {
    if (!shows.FetchVideoItem(show)) return false;
  }
  path = filePath;
  title = FieldText(show.title);
  return true;
}

int VideoMetadataAPI::UpdateTVShowExPosterHandler(const std::string& tvshowId,
                                                  const std::string& oldTitle,
                                                  const std::string& newTitle) {
  if (tvshowId.empty() || oldTitle.empty() || newTitle.empty()) return 0;
  std::string folder;
  std::string title;
  if (!ShowFolderAndTitle(*this, tvshowId, folder, title)) return 0;
  // Neither name can be a poster file of this show's folder.
  if (!IsFileNameTitle(oldTitle) || !IsFileNameTitle(newTitle)) return 1;

  const std::string from = folder + "/" + oldTitle;
  const char* extension = ExistingPosterExtension(from);
  if (extension == nullptr) return 1;  // nothing to carry over
  const std::string to = folder + "/" + newTitle;

  // The renamed show's poster replaces whatever stood under its new name,
  // and keeps the old file's permissions and times.
  VEXO_FILE_COPY_OPT options = {};
  options.overwrite = 1;
  options.keepMode = 1;
  options.keepTimes = 1;
  if (VEXOFileCopy((from + extension).c_str(), (to + extension).c_str(), &options) == -1) {
    return 0;
  }
  return 1;
}

int VideoMetadataAPI::MergeTVShowExPosterHandler(const std::string& fromTvshowId,
                                                 const std::string& toTvshowId) {
  if (fromTvshowId.empty() || toTvshowId.empty()) return 0;
  std::string fromFolder;
  std::string fromTitle;
  std::string toFolder;
  std::string toTitle;
  if (!ShowFolderAndTitle(*this, fromTvshowId, fromFolder, fromTitle) ||
      !ShowFolderAndTitle(*this, toTvshowId, toFolder, toTitle) || fromTitle.empty() ||
      toTitle.empty()) {
    return 0;
  }

  // The first show's poster goes: its videos now belong to the second show.
  if (IsFileNameTitle(fromTitle)) {
    const std::string oldPoster = fromFolder + "/" + fromTitle;
    const char* extension = ExistingPosterExtension(oldPoster);
    if (extension != nullptr) {
      const std::string removed = oldPoster + extension;
      if (::unlink(removed.c_str()) != 0) return 0;
      if (VEXOEARemove(removed.c_str(), -1, 0) != 0) return 0;
      // The media index learns of the removal; it has no say in the result.
      VLIBVexoIndexAdd(removed.c_str(), 2);
      VLIBVexoFileIndexAdd(removed.c_str(), 0, 6);
    }
  }

  if (!IsFileNameTitle(toTitle)) return 1;
  const std::string sourcePoster = toFolder + "/" + toTitle;
  const std::string newPoster = fromFolder + "/" + toTitle;
  const char* extension = nullptr;
  for (const char* candidate : kPosterExtensions) {
    if (IsFileExist((sourcePoster + candidate).c_str()) &&
        !IsFileExist((newPoster + candidate).c_str())) {
      extension = candidate;
      break;
    }
  }
  if (extension == nullptr) return 1;  // nothing to copy, or already there

  // The target was just found absent: a file that appears there meanwhile is
  // not overwritten (the copy then fails). The copy keeps the source's
  // permissions and times.
  VEXO_FILE_COPY_OPT options = {};
  options.keepMode = 1;
  options.keepTimes = 1;
  if (VEXOFileCopy((sourcePoster + extension).c_str(), (newPoster + extension).c_str(), &options) ==
      -1) {
    return 0;
  }
  return 1;
}

}  // namespace LibKinolot
