// Reading the stored state of the scanned folders; see scan_state.h.
#include "scan_state.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "kinolot/platform/vexo_db.h"
#include "kinolot/video_db.h"

namespace kinolot_scan {
namespace {

using namespace LibKinolot;

// The stored time as the server's session sees it: modify_date holds the
// session's local time without a zone, read back in the same zone.
const char kStoredMicroseconds[] =
    "(extract(epoch FROM modify_date::timestamptz) * 1000000)::bigint AS stored_us";

// The columns StoredTechnicalText reads, in the order it joins them.
const char kTechnicalColumns[] =
    "container_type, duration, video_codec, resolutionx, resolutiony, audio_codec, frequency, "
    "channel";

struct HandleFree {
  void operator()(_VIDEO_DB_HANDLER_* handle) const { VideoDBHandlerFree(handle); }
};
using Handle = std::unique_ptr<_VIDEO_DB_HANDLER_, HandleFree>;

struct TextFree {
  void operator()(char* text) const { free(text); }
};
using HeapText = std::unique_ptr<char, TextFree>;

bool NextRow(const Handle& handle) {
  return VEXODBFetchRow(handle->result, &handle->row) == 0;
}

const char* Field(const Handle& handle, const char* column) {
  const char* value = VEXODBFetchField(handle->result, handle->row, column);
  return value ? value : "";
}

bool LoadIds(const char* tables, const char* column, const char* where, std::set<int>* ids,
             std::string* error) {
  Handle handle(VideoDBOpenEX(tables, column, where, nullptr, nullptr, -1, -1));
  if (!handle) {
    DatabaseReachable(error);
    return false;
  }
  while (NextRow(handle)) ids->insert(std::atoi(Field(handle, "mapper_id")));
  return true;
}

}  // namespace

bool ScanState::LoadFolder(const std::string& folder, std::string* error) {
  std::string prefix = folder == "/" ? "/" : folder + "/";
  HeapText where(
      VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, "path LIKE '@VEXO:LVAR%'", prefix.c_str()));
  if (!where) {
    *error = "folder name not usable in a query: " + folder;
    return false;
  }
  std::string columns = std::string("path, filesize, mapper_id, ") + kStoredMicroseconds;
  Handle handle(
      VideoDBOpenEX("video_file", columns.c_str(), where.get(), nullptr, nullptr, -1, -1));
  if (!handle) {
    DatabaseReachable(error);
    return false;
  }
  while (NextRow(handle)) {
    StoredFile& file = files_[Field(handle, "path")];
    file.size = std::strtoll(Field(handle, "filesize"), nullptr, 10);
    file.stored_us = std::strtoll(Field(handle, "stored_us"), nullptr, 10);
    file.mapper_id = std::atoi(Field(handle, "mapper_id"));
  }
  return true;
}

bool ScanState::LoadLocks(std::string* error) {
  return LoadIds("movie", "mapper_id", "islock", &locked_items_, error) &&
         LoadIds("tvshow_episode AS e, tvshow AS s", "e.mapper_id",
                 "e.tvshow_id = s.id AND (e.islock OR s.islock)", &locked_items_, error) &&
         LoadIds("tvshow", "mapper_id", "islock", &locked_shows_, error);
}

const StoredFile* ScanState::Find(const std::string& path) const {
  auto it = files_.find(path);
  return it == files_.end() ? nullptr : &it->second;
}

int64_t PosterStoredAt(int mapper_id) {
  HeapText where(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, "mapper_id = @VEXO:INT", mapper_id));
  if (!where) return 0;
  Handle handle(
      VideoDBOpenEX("poster", kStoredMicroseconds, where.get(), nullptr, nullptr, -1, -1));
  if (!handle || !NextRow(handle)) return 0;
  return std::strtoll(Field(handle, "stored_us"), nullptr, 10);
}

std::string StoredPathOf(int mapper_id, bool of_show) {
  const char* tables = of_show ? "video_file AS f, tvshow_episode AS e, tvshow AS s" : "video_file";
  const char* format =
      of_show ? "f.mapper_id = e.mapper_id AND e.tvshow_id = s.id AND s.mapper_id = @VEXO:INT"
              : "mapper_id = @VEXO:INT";
  HeapText where(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, mapper_id));
  if (!where) return "";
  Handle handle(
      VideoDBOpenEX(tables, of_show ? "f.path" : "path", where.get(), nullptr, nullptr, 0, 1));
  return handle && NextRow(handle) ? Field(handle, "path") : "";
}

namespace {

// A query on video_file for the one file `path`; null on failure.
Handle SelectFile(const char* columns, const char* format, const std::string& path) {
  HeapText where(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, path.c_str()));
  if (!where) return nullptr;
  return Handle(VideoDBOpenEX("video_file", columns, where.get(), nullptr, nullptr, -1, -1));
}

}  // namespace

int FilesOfItemOf(const std::string& path) {
  Handle handle =
      SelectFile("count(*) AS n",
                 "mapper_id = (SELECT mapper_id FROM video_file WHERE path = '@VEXO:VAR')", path);
  if (!handle || !NextRow(handle)) return -1;
  return std::atoi(Field(handle, "n"));
}

std::string StoredTechnicalText(const std::string& path) {
  Handle handle = SelectFile(kTechnicalColumns, "path = '@VEXO:VAR'", path);
  if (!handle || !NextRow(handle)) return "";
  std::string text;
  for (const char* column : {"container_type", "duration", "video_codec", "resolutionx",
                             "resolutiony", "audio_codec", "frequency", "channel"}) {
    text += std::string(Field(handle, column)) + "|";
  }
  return text;
}

bool DatabaseReachable(std::string* problem) {
  DBConnect_tag* connection = VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
  if (connection == nullptr) {
    std::string reason = VEXODBErrorGet(nullptr);
    while (!reason.empty() && (reason.back() == '\n' || reason.back() == ' ')) reason.pop_back();
    *problem = "cannot reach the database video_metadata as user admin: " + reason;
    return false;
  }
  VEXODBClose(connection);
  *problem = "the database video_metadata could not be read (details in the system log)";
  return true;
}

}  // namespace kinolot_scan
