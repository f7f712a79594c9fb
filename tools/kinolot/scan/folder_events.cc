// Reading inotify events into renames and touched folders; see
// folder_events.h.
#include "folder_events.h"

#include <dirent.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <utility>

namespace kinolot_scan {
namespace {

constexpr uint32_t kMask = IN_CREATE | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB |
                           IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR;

const char kNetworkReason[] =
    "on a network file system, which sends no events for changes made on other machines";
const char kLimitReason[] =
    "past the limit of watched folders (raise fs.inotify.max_user_watches to watch it)";

// File systems whose changes made elsewhere reach no one's inotify.
bool OnNetworkFileSystem(const std::string& folder) {
  struct statfs info {};
  if (statfs(folder.c_str(), &info) != 0) return false;
  switch (static_cast<unsigned long>(info.f_type)) {
    case 0x6969:      // NFS
    case 0x517B:      // SMB
    case 0xFF534D42:  // CIFS
    case 0xFE534D42:  // SMB2
    case 0x01021997:  // 9P
    case 0x5346414F:  // AFS
    case 0x73757245:  // Coda
    case 0x00C36400:  // Ceph
    case 0x65735546:  // FUSE (sshfs and the like; a local one is only rescanned too)
      return true;
    default:
      return false;
  }
}

std::string BaseName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::string Join(const std::string& folder, const std::string& name) {
  return folder == "/" ? "/" + name : folder + "/" + name;
}

// Adds watches down the tree; `seen` keeps a link back up from looping.
void WatchDown(int fd, const std::string& folder, bool on_network, size_t max_watches,
               std::unordered_map<int, std::string>* paths, std::set<std::pair<dev_t, ino_t>>* seen,
               EventBatch* batch) {
  struct stat info {};
  if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return;
  if (!seen->insert({info.st_dev, info.st_ino}).second) return;
  if (!on_network && OnNetworkFileSystem(folder)) {
    // Changes made here are still seen; the rescans catch the others.
    batch->unwatched.push_back({folder, kNetworkReason});
    on_network = true;
  }
  int wd = -1;
  if (max_watches == 0 || paths->size() < max_watches) {
    wd = inotify_add_watch(fd, folder.c_str(), kMask);
  } else {
    errno = ENOSPC;
  }
  if (wd < 0) {
    batch->unwatched.push_back(
        {folder, errno == ENOSPC ? kLimitReason : std::string("not watched: ") + strerror(errno)});
    return;
  }
  (*paths)[wd] = folder;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return;
  std::vector<std::string> below;
  while (dirent* entry = readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    if (entry->d_type == DT_DIR || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN) {
      below.push_back(Join(folder, entry->d_name));
    }
  }
  closedir(dir);
  for (const std::string& path : below) {
    WatchDown(fd, path, on_network, max_watches, paths, seen, batch);
  }
}

}  // namespace

std::string ParentFolder(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool IsBelow(const std::string& path, const std::string& folder) {
  return path == folder || folder == "/" ||
         (path.size() > folder.size() && path[folder.size()] == '/' &&
          path.compare(0, folder.size(), folder) == 0);
}

bool IsScannedName(const std::string& name) {
  if (IsVideoName(name)) return true;
  size_t dot = name.rfind('.');
  if (dot == std::string::npos) return false;
  std::string extension = name.substr(dot + 1);
  for (char& c : extension) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return extension == "nfo" || extension == "jpg" || extension == "jpeg" || extension == "png";
}

FolderEvents::~FolderEvents() {
  if (fd_ >= 0) close(fd_);
}

bool FolderEvents::Open(std::string* error) {
  fd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (fd_ < 0) *error = std::string("cannot watch folders: ") + strerror(errno);
  return fd_ >= 0;
}

void FolderEvents::WatchTree(const std::string& folder, EventBatch* batch) {
  std::set<std::pair<dev_t, ino_t>> seen;
  WatchDown(fd_, folder, false, max_watches_, &paths_, &seen, batch);
}

void FolderEvents::Read(EventBatch* batch) {
  alignas(inotify_event) char buffer[64 * 1024];
  for (;;) {
    ssize_t got = read(fd_, buffer, sizeof(buffer));
    if (got <= 0) return;  // EAGAIN: all read
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
      Handle(event->wd, event->mask, event->cookie, event->len ? event->name : "", batch);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
  }
}

void FolderEvents::Handle(int wd, uint32_t mask, uint32_t cookie, const std::string& name,
                          EventBatch* batch) {
  if (mask & IN_Q_OVERFLOW) {
    batch->overflow = true;
    return;
  }
  if (mask & IN_IGNORED) {
    paths_.erase(wd);
    return;
  }
  auto watched = paths_.find(wd);
  if (watched == paths_.end() || name.empty()) return;
  const std::string folder = watched->second;
  const std::string path = Join(folder, name);
  const bool is_folder = mask & IN_ISDIR;
  const WatchClock::time_point now = WatchClock::now();
  if (mask & IN_MOVED_FROM) {
    unpaired_[cookie] = {path, is_folder, now};
    return;
  }
  if (mask & IN_MOVED_TO) {
    auto half = unpaired_.find(cookie);
    if (half != unpaired_.end()) {
      WatchedMove move{half->second.from, path, is_folder};
      unpaired_.erase(half);
      // A hidden folder is not watched: one renamed into view arrives like a
      // folder moved in, one renamed out of view leaves like one moved out.
      const bool was_hidden = is_folder && BaseName(move.from)[0] == '.';
      const bool is_hidden = is_folder && name[0] == '.';
      if (was_hidden || is_hidden) {
        if (!was_hidden) {
          Unwatch(move.from);
          batch->touched.push_back({move.from, now});
        }
        if (!is_hidden) {
          WatchTree(path, batch);
          batch->touched.push_back({path, now});
        }
        return;
      }
      if (is_folder) RenameWatches(move.from, move.to);
      if (is_folder || IsScannedName(name) || IsScannedName(move.from)) {
        batch->moves.push_back(std::move(move));
      }
      return;
    }
  }
  if (is_folder) {
    if (name[0] == '.') return;
    if (mask & (IN_CREATE | IN_MOVED_TO)) WatchTree(path, batch);
    if (mask & (IN_CREATE | IN_MOVED_TO | IN_DELETE)) batch->touched.push_back({path, now});
    return;
  }
  if (IsScannedName(name)) batch->touched.push_back({folder, now});
}

void FolderEvents::ExpireMoves(WatchClock::duration wait, EventBatch* batch) {
  WatchClock::time_point now = WatchClock::now();
  for (auto half = unpaired_.begin(); half != unpaired_.end();) {
    if (now - half->second.when < wait) {
      ++half;
      continue;
    }
    if (half->second.folder) {
      Unwatch(half->second.from);
      batch->touched.push_back({half->second.from, half->second.when});
    } else if (IsScannedName(half->second.from)) {
      batch->touched.push_back({ParentFolder(half->second.from), half->second.when});
    }
    half = unpaired_.erase(half);
  }
}

WatchClock::time_point FolderEvents::OldestUnpaired() const {
  WatchClock::time_point oldest = WatchClock::time_point::max();
  for (const auto& half : unpaired_) oldest = std::min(oldest, half.second.when);
  return oldest;
}

void FolderEvents::Unwatch(const std::string& folder) {
  for (auto watch = paths_.begin(); watch != paths_.end();) {
    if (IsBelow(watch->second, folder)) {
      inotify_rm_watch(fd_, watch->first);
      watch = paths_.erase(watch);
    } else {
      ++watch;
    }
  }
}

void FolderEvents::RenameWatches(const std::string& from, const std::string& to) {
  for (auto& watch : paths_) {
    if (IsBelow(watch.second, from)) watch.second = to + watch.second.substr(from.size());
  }
}

}  // namespace kinolot_scan
