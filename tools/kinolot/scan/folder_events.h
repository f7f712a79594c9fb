// The kernel's change events (inotify) for every folder below a set of
// folders, turned into what the watch acts on: renames, paired from their
// two halves, and folders whose contents changed. Folders created later are
// watched as they appear; a folder moved within the tree keeps its watches
// under its new path.
#ifndef KINOLOT_TOOLS_SCAN_FOLDER_EVENTS_H_
#define KINOLOT_TOOLS_SCAN_FOLDER_EVENTS_H_

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "media_walk.h"

namespace kinolot_scan {

using WatchClock = std::chrono::steady_clock;

// A file or folder renamed within the watched tree.
struct WatchedMove {
  std::string from, to;
  bool folder = false;
};

// A folder whose videos or sidecars changed (created, written, deleted,
// moved in or out), and when; a folder that vanished is named itself.
struct TouchedFolder {
  std::string path;
  WatchClock::time_point when;
};

// What one read of the events brought.
struct EventBatch {
  std::vector<WatchedMove> moves;
  std::vector<TouchedFolder> touched;
  // Folders found below the tree that could not be watched, with the reason:
  // the caller rescans them instead.
  std::vector<PathIssue> unwatched;
  bool overflow = false;  // events were lost: everything must be rescanned
};

class FolderEvents {
 public:
  // `max_watches` bounds the folders watched (0: only the system's limit);
  // past it a folder is reported unwatched as when the system's is reached.
  explicit FolderEvents(size_t max_watches = 0) : max_watches_(max_watches) {}
  ~FolderEvents();
  FolderEvents(const FolderEvents&) = delete;
  FolderEvents& operator=(const FolderEvents&) = delete;

  // Opens the event queue. Returns false, with the reason in `error`, when
  // the system offers none.
  bool Open(std::string* error);
  // The descriptor to wait on for events; -1 before Open.
  int fd() const { return fd_; }
  // Watches `folder` and every folder below it (hidden ones left out). What
  // cannot be watched goes to `batch->unwatched`: a folder on a network file
  // system (whose changes made elsewhere send no events) or past the watch
  // limit.
  void WatchTree(const std::string& folder, EventBatch* batch);
  // Reads the events waiting, without blocking, into `batch`.
  void Read(EventBatch* batch);
  // Renames whose second half has not come within `wait` of the first are
  // files and folders moved out of the tree (or into a folder not watched
  // yet): their folders go to `batch->touched`, dated when they left, and a
  // folder's watches are dropped.
  void ExpireMoves(WatchClock::duration wait, EventBatch* batch);
  // When the oldest unpaired rename half arrived; max() when there is none.
  WatchClock::time_point OldestUnpaired() const;
  size_t watch_count() const { return paths_.size(); }

 private:
  struct HalfMove {
    std::string from;
    bool folder = false;
    WatchClock::time_point when;
  };
  void Handle(int wd, uint32_t mask, uint32_t cookie, const std::string& name, EventBatch* batch);
  void Unwatch(const std::string& folder);
  void RenameWatches(const std::string& from, const std::string& to);

  size_t max_watches_;
  int fd_ = -1;
  std::unordered_map<int, std::string> paths_;  // watch descriptor -> folder
  std::map<uint32_t, HalfMove> unpaired_;       // by cookie
};

// The folder holding `path` ("/" for a file at the top).
std::string ParentFolder(const std::string& path);

// Whether `path` is the folder `folder` or lies below it.
bool IsBelow(const std::string& path, const std::string& folder);

// Whether `name` is a file the scan reads: a video or one of its sidecars.
bool IsScannedName(const std::string& name);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_FOLDER_EVENTS_H_
