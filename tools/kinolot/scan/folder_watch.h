// Keeping the library current while folders change: one incremental scan at
// the start, then the folders' change events. A rename goes straight to the
// library; other changes are collected per folder and stored by an
// incremental scan of that folder once it has been quiet for a moment, so a
// file still being copied is stored once, when it stops growing. Folders
// that send no events (network file systems, folders past the watch limit)
// are rescanned at an interval instead. While the database cannot be
// reached, changes wait; when it answers again, one incremental scan of every
// folder catches up.
#ifndef KINOLOT_TOOLS_SCAN_FOLDER_WATCH_H_
#define KINOLOT_TOOLS_SCAN_FOLDER_WATCH_H_

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "scanner.h"

namespace kinolot_scan {

struct WatchOptions {
  std::vector<ScanFolder> folders;  // as for RunScan
  size_t batch_size = 200;
  // How long a folder must be quiet before its changes are stored.
  int settle_ms = 1000;
  // How often folders without events are rescanned.
  int rescan_seconds = 300;
  // How often an unreachable database is tried again.
  int retry_ms = 2000;
  // Bounds the folders watched (0: the system's limit alone).
  size_t max_watches = 0;
  // Told one line for people about what was done or went wrong (without a
  // line end); may be empty. Called on the watching thread.
  std::function<void(const std::string&)> report;
  // Told after the library changed; may be empty. Called on the watching
  // thread.
  std::function<void()> changed;
};

class FolderWatch {
 public:
  explicit FolderWatch(WatchOptions options);
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Watches until Stop. Returns false, with the reason in `error`, when the
  // system offers no change events at all; database failures never end it.
  bool Run(std::string* error);
  // Ends Run soon; callable from any thread, before Run too.
  void Stop();

  // Counts for tests and benchmarks, readable from any thread: files stored,
  // removed or renamed so far, and incremental scans run (the first included).
  long changes() const { return changes_.load(); }
  long scans() const { return scans_.load(); }
  // Whether the first scan is done and the folders are watched.
  bool ready() const { return ready_.load(); }

 private:
  class Loop;
  WatchOptions options_;
  int wake_fd_ = -1;
  std::atomic<long> changes_{0}, scans_{0};
  std::atomic<bool> ready_{false};
};

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_FOLDER_WATCH_H_
