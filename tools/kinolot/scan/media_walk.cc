// The scanner's folder walk; see media_walk.h.
#include "media_walk.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace kinolot_scan {
namespace {

struct DirCloser {
  void operator()(DIR* dir) const { closedir(dir); }
};

std::string Join(const std::string& folder, const std::string& name) {
  return folder == "/" ? "/" + name : folder + "/" + name;
}

int64_t Nanoseconds(const struct timespec& time) {
  return static_cast<int64_t>(time.tv_sec) * 1000000000 + time.tv_nsec;
}

}  // namespace

bool IsVideoName(const std::string& name) {
  static const char* const kExtensions[] = {
      "mkv", "mp4", "m4v", "avi", "mov", "wmv", "ts",   "m2ts", "mts", "webm", "mpg", "mpeg", "m2v",
      "vob", "flv", "ogv", "ogm", "3gp", "asf", "divx", "f4v",  "rm",  "rmvb", "tp",  "trp",  "dv"};
  size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return false;
  std::string extension = name.substr(dot + 1);
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  for (const char* known : kExtensions) {
    if (extension == known) return true;
  }
  return false;
}

bool MediaWalk::Walk(const std::string& root, ScanKind kind, std::vector<FoundVideo>* videos,
                     std::vector<PathIssue>* skipped) {
  struct stat info {};
  if (stat(root.c_str(), &info) != 0) {
    skipped->push_back({root, std::strerror(errno)});
    return false;
  }
  if (!S_ISDIR(info.st_mode)) {
    skipped->push_back({root, "not a folder"});
    return false;
  }
  if (!entered_.insert({info.st_dev, info.st_ino}).second) {
    skipped->push_back({root, "folder already scanned"});
    return true;
  }
  size_t before = skipped->size();
  WalkFolder(root, kind, videos, skipped);
  // The root itself unreadable is the only failure of the whole walk.
  return !(skipped->size() == before + 1 && (*skipped)[before].path == root);
}

void MediaWalk::WalkFolder(const std::string& folder, ScanKind kind,
                           std::vector<FoundVideo>* videos, std::vector<PathIssue>* skipped) {
  std::unique_ptr<DIR, DirCloser> dir(opendir(folder.c_str()));
  if (!dir) {
    skipped->push_back({folder, std::string("cannot open folder: ") + std::strerror(errno)});
    return;
  }
  // Sorted, so that a scan visits files in the same order every time.
  std::vector<std::pair<std::string, unsigned char>> entries;
  while (struct dirent* entry = readdir(dir.get())) {
    if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
    entries.emplace_back(entry->d_name, entry->d_type);
  }
  dir.reset();
  std::sort(entries.begin(), entries.end());

  for (const auto& [name, type] : entries) {
    bool video_name = IsVideoName(name);
    // Plain files of other kinds (sidecars, subtitles, pictures) are not the
    // walk's business; everything else needs its stat.
    if (type == DT_REG && !video_name) continue;
    std::string path = Join(folder, name);
    if (name[0] == '.') {
      if (video_name || type == DT_DIR) skipped->push_back({path, "hidden"});
      continue;
    }
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
      int error = errno;
      struct stat link {};
      bool is_link = lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode);
      if (video_name || is_link || type == DT_DIR) {
        skipped->push_back(
            {path, is_link && error == ENOENT ? "broken symbolic link" : std::strerror(error)});
      }
      continue;
    }
    if (S_ISDIR(info.st_mode)) {
      if (roots_.count(path)) continue;  // walked as a scanned folder of its own
      if (!entered_.insert({info.st_dev, info.st_ino}).second) {
        skipped->push_back(
            {path, type == DT_LNK ? "symbolic link loop" : "folder already scanned"});
        continue;
      }
      WalkFolder(path, kind, videos, skipped);
    } else if (video_name) {
      if (!S_ISREG(info.st_mode)) {
        skipped->push_back({path, "not a regular file"});
      } else if (access(path.c_str(), R_OK) != 0) {
        skipped->push_back({path, std::string("not readable: ") + std::strerror(errno)});
      } else {
        videos->push_back(
            {path, kind, static_cast<int64_t>(info.st_size), Nanoseconds(info.st_mtim)});
      }
    }
  }
}

}  // namespace kinolot_scan
