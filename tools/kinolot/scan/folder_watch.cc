// The watch loop; see folder_watch.h.
#include "folder_watch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>

#include "file_moves.h"
#include "folder_events.h"
#include "scan_state.h"
#include "store_batch.h"

namespace kinolot_scan {
namespace {

// How long the first half of a rename waits for its second before the file
// counts as moved out of the watched folders.
constexpr auto kPairWait = std::chrono::milliseconds(500);

long Changed(const ScanSummary& summary) {
  return summary.added + summary.updated + summary.removed + summary.moved;
}

}  // namespace

class FolderWatch::Loop {
 public:
  explicit Loop(FolderWatch* owner)
      : owner_(*owner), options_(owner->options_), events_(options_.max_watches) {}

  bool Run(std::string* error);

 private:
  void Take(EventBatch* batch);
  void ApplyMoves(const std::vector<WatchedMove>& moves);
  void ScanSettled();
  void Scan(std::vector<std::string> folders);
  void CatchUp();
  int TimeoutMs() const;
  void Report(const std::string& line) {
    if (options_.report) options_.report(line);
  }
  void Count(long changes) {
    if (changes == 0) return;
    owner_.changes_ += changes;
    if (options_.changed) options_.changed();
  }

  FolderWatch& owner_;
  const WatchOptions& options_;
  FolderEvents events_;
  std::map<std::string, WatchClock::time_point> touched_;  // folder -> its latest event
  std::set<std::string> polled_;                           // folders rescanned at an interval
  std::set<std::string> reasons_told_;
  WatchClock::time_point next_poll_, next_retry_;
  bool catching_up_ = false;
  bool outage_told_ = false;
};

bool FolderWatch::Loop::Run(std::string* error) {
  if (!events_.Open(error)) return false;
  EventBatch batch;
  for (const ScanFolder& folder : options_.folders) events_.WatchTree(folder.path, &batch);
  next_poll_ = WatchClock::now() + std::chrono::seconds(options_.rescan_seconds);
  Take(&batch);
  std::vector<std::string> all;
  for (const ScanFolder& folder : options_.folders) all.push_back(folder.path);
  Scan(all);
  Report("watching " + std::to_string(events_.watch_count()) + " folders for changes");
  owner_.ready_ = true;

  pollfd waits[2] = {{events_.fd(), POLLIN, 0}, {owner_.wake_fd_, POLLIN, 0}};
  for (;;) {
    if (poll(waits, 2, TimeoutMs()) < 0 && errno != EINTR) {
      *error = std::string("waiting for changes failed: ") + strerror(errno);
      return false;
    }
    if (waits[1].revents) return true;
    EventBatch events;
    events_.Read(&events);
    events_.ExpireMoves(kPairWait, &events);
    Take(&events);
    ScanSettled();
    WatchClock::time_point now = WatchClock::now();
    if (!polled_.empty() && now >= next_poll_) {
      next_poll_ = now + std::chrono::seconds(options_.rescan_seconds);
      Scan(std::vector<std::string>(polled_.begin(), polled_.end()));
    }
    if (catching_up_ && now >= next_retry_) CatchUp();
  }
}

void FolderWatch::Loop::Take(EventBatch* batch) {
  WatchClock::time_point now = WatchClock::now();
  if (batch->overflow) {
    Report("too many changes at once: every folder is scanned again");
    for (const ScanFolder& folder : options_.folders) touched_[folder.path] = now;
  }
  for (const PathIssue& issue : batch->unwatched) {
    polled_.insert(issue.path);
    if (reasons_told_.insert(issue.reason).second) {
      Report(issue.path + ": " + issue.reason + "; rescanning it every " +
             std::to_string(options_.rescan_seconds) + " s");
    }
  }
  ApplyMoves(batch->moves);
  for (const TouchedFolder& folder : batch->touched) {
    WatchClock::time_point& when = touched_[folder.path];
    when = std::max(when, folder.when);
  }
}

// Renames reach the library at once, a folder's as one batch; whatever the
// library does not hold under the old name is left to the folders' scans.
void FolderWatch::Loop::ApplyMoves(const std::vector<WatchedMove>& moves) {
  WatchClock::time_point now = WatchClock::now();
  std::vector<std::pair<std::string, std::string>> renames;
  for (const WatchedMove& move : moves) {
    if (!move.folder) {
      if (IsVideoName(move.from) && IsVideoName(move.to)) {
        renames.push_back({move.from, move.to});
      } else {
        touched_[ParentFolder(move.from)] = touched_[ParentFolder(move.to)] = now;
      }
      continue;
    }
    // Changes still waiting under the old name wait under the new one.
    std::map<std::string, WatchClock::time_point> kept;
    for (const auto& entry : touched_) {
      kept[IsBelow(entry.first, move.from) ? move.to + entry.first.substr(move.from.size())
                                           : entry.first] = entry.second;
    }
    touched_.swap(kept);
    ScanState stored;
    std::string error;
    if (catching_up_ || !stored.LoadFolder(move.from, &error)) {
      touched_[move.from] = touched_[move.to] = now;
      continue;
    }
    for (const auto& file : stored.files()) {
      renames.push_back({file.first, move.to + file.first.substr(move.from.size())});
    }
  }
  if (renames.empty()) return;
  if (catching_up_) {
    for (const auto& rename : renames)
      touched_[ParentFolder(rename.first)] = touched_[ParentFolder(rename.second)] = now;
    return;
  }
  std::vector<bool> renamed = StoreBatch(renames, [](const std::pair<std::string, std::string>& r) {
    return RenameStoredFile(r.first, r.second);
  });
  long moved = 0;
  for (size_t i = 0; i < renames.size(); ++i) {
    if (renamed[i]) {
      ++moved;
    } else {
      touched_[ParentFolder(renames[i].first)] = touched_[ParentFolder(renames[i].second)] = now;
    }
  }
  if (moved > 0) Report(std::to_string(moved) + " moved");
  Count(moved);
}

void FolderWatch::Loop::ScanSettled() {
  // A rename still missing its second half may be a move into a folder that
  // was not watched yet: its old folder must be scanned together with the
  // new one for the scan to tell the move.
  if (events_.OldestUnpaired() != WatchClock::time_point::max()) return;
  WatchClock::time_point due = WatchClock::now() - std::chrono::milliseconds(options_.settle_ms);
  std::vector<std::string> settled;
  for (auto entry = touched_.begin(); entry != touched_.end();) {
    if (entry->second > due) {
      ++entry;
      continue;
    }
    settled.push_back(entry->first);
    entry = touched_.erase(entry);
  }
  // While the database is away the catch-up scan covers them.
  if (!settled.empty() && !catching_up_) Scan(settled);
}

void FolderWatch::Loop::Scan(std::vector<std::string> folders) {
  // A folder inside another one scanned now is covered by it.
  std::sort(folders.begin(), folders.end());
  ScanOptions scan;
  scan.batch_size = options_.batch_size;
  for (const std::string& folder : folders) {
    if (!scan.folders.empty() && IsBelow(folder, scan.folders.back().path)) continue;
    ScanKind kind = ScanKind::kAuto;
    size_t longest = 0;
    for (const ScanFolder& root : options_.folders) {
      if (IsBelow(folder, root.path) && root.path.size() >= longest) {
        kind = root.kind;
        longest = root.path.size();
      }
    }
    scan.folders.push_back({folder, kind});
  }
  ScanSummary summary;
  std::string error;
  ++owner_.scans_;
  if (!RunScan(scan, &summary, &error)) {
    if (!outage_told_)
      Report(error + "; trying again every " + std::to_string(options_.retry_ms) + " ms");
    outage_told_ = catching_up_ = true;
    next_retry_ = WatchClock::now() + std::chrono::milliseconds(options_.retry_ms);
    return;
  }
  if (Changed(summary) > 0 || !summary.failed.empty()) {
    std::string text = SummaryText(summary);
    Report(text.substr(0, text.find('\n')));
    for (const PathIssue& failed : summary.failed)
      Report("failed: " + failed.path + ": " + failed.reason);
  }
  Count(Changed(summary));
}

void FolderWatch::Loop::CatchUp() {
  std::string problem;
  if (!DatabaseReachable(&problem)) {
    next_retry_ = WatchClock::now() + std::chrono::milliseconds(options_.retry_ms);
    return;
  }
  catching_up_ = false;
  touched_.clear();
  std::vector<std::string> all;
  for (const ScanFolder& folder : options_.folders) all.push_back(folder.path);
  Scan(all);
  if (!catching_up_) {
    Report("the database answers again; every folder was scanned to catch up");
    outage_told_ = false;
  }
}

int FolderWatch::Loop::TimeoutMs() const {
  WatchClock::time_point next = events_.OldestUnpaired();
  if (next != WatchClock::time_point::max()) next += kPairWait;
  for (const auto& entry : touched_) {
    next = std::min(next, entry.second + std::chrono::milliseconds(options_.settle_ms));
  }
  if (!polled_.empty()) next = std::min(next, next_poll_);
  if (catching_up_) next = std::min(next, next_retry_);
  if (next == WatchClock::time_point::max()) return -1;
  auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(next - WatchClock::now());
  return static_cast<int>(std::max<long long>(0, wait.count() + 1));
}

FolderWatch::FolderWatch(WatchOptions options)
    : options_(std::move(options)), wake_fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

FolderWatch::~FolderWatch() {
  if (wake_fd_ >= 0) close(wake_fd_);
}

bool FolderWatch::Run(std::string* error) {
  if (wake_fd_ < 0) {
    *error = "cannot watch folders: no event descriptor";
    return false;
  }
  Loop loop(this);
  return loop.Run(error);
}

void FolderWatch::Stop() {
  uint64_t one = 1;
  if (write(wake_fd_, &one, sizeof(one)) < 0) {
    // Already woken: the counter is full, and Run ends anyway.
  }
}

}  // namespace kinolot_scan
