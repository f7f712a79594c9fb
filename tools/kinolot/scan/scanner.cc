// The media scanner's run; see scanner.h.
#include "scanner.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "file_moves.h"
#include "folder_events.h"
#include "kinolot/video_db_batch.h"
#include "kinolot/video_info_store.h"
#include "read_ahead.h"
#include "scan_item.h"
#include "scan_state.h"
#include "store_batch.h"
#include "video_description.h"

namespace kinolot_scan {
namespace {

using namespace LibKinolot;

constexpr size_t kPathCapacity = sizeof(_VIDEO_INFO_::path);

// Gone from the disk, not merely out of reach (a folder that cannot be
// read still holds its files).
bool Vanished(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

class Scanner {
 public:
  Scanner(const ScanOptions& options, ScanSummary* summary)
      : options_(options),
        batch_size_(std::max<size_t>(options.batch_size, 1)),
        summary_(summary),
        context_(state_) {}

  bool Run(std::string* error);

 private:
  void Walk();
  bool LoadState(std::string* error);
  void Sort();
  void FindGone();
  void ApplyMoves();
  bool StoreAll(std::string* error);
  void RemoveGone();

  const ScanOptions& options_;
  size_t batch_size_;
  ScanSummary* summary_;
  ScanState state_;
  ItemContext context_;
  std::vector<FoundVideo> videos_;
  std::vector<ScanItem> pending_;
  std::vector<std::string> gone_;  // stored, vanished from the disk, sorted
};

bool Scanner::Run(std::string* error) {
  auto start = std::chrono::steady_clock::now();
  Walk();
  if (!LoadState(error)) return false;
  Sort();
  FindGone();
  ApplyMoves();
  if (!StoreAll(error)) return false;
  RemoveGone();
  summary_->seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return true;
}

void Scanner::Walk() {
  std::set<std::string> roots;
  for (const ScanFolder& folder : options_.folders) roots.insert(folder.path);
  MediaWalk walk(roots);
  for (const ScanFolder& folder : options_.folders) {
    summary_->folders.push_back(folder.path);
    walk.Walk(folder.path, folder.kind, &videos_, &summary_->skipped);
  }
  summary_->found = static_cast<long>(videos_.size());
}

bool Scanner::LoadState(std::string* error) {
  for (const ScanFolder& folder : options_.folders) {
    if (!state_.LoadFolder(folder.path, error)) return false;
  }
  return state_.LoadLocks(error);
}

// Sorts the found files into unchanged ones, counted and left alone, and the
// ones to store.
void Scanner::Sort() {
  std::unordered_map<std::string, int> per_folder;
  for (const FoundVideo& video : videos_) ++per_folder[ParentFolder(video.path)];
  SidecarFinder sidecars;
  for (const FoundVideo& video : videos_) {
    ScanItem item;
    item.found = &video;
    item.stored = state_.Find(video.path);
    item.name = NameMedia(video.path, video.kind);
    item.sidecars = sidecars.Find(video.path, item.name, per_folder[ParentFolder(video.path)] == 1);
    item.size = video.size;
    item.mtime_ns = video.mtime_ns;
    const StoredFile* stored = item.stored;
    if (stored && stored->size == video.size && video.mtime_ns / 1000 <= stored->stored_us &&
        item.sidecars.newest_ns / 1000 <= stored->stored_us) {
      ++summary_->unchanged;
      continue;
    }
    if (video.path.size() >= kPathCapacity) {
      summary_->failed.push_back({video.path, "path too long for the library"});
    } else if (!IsUtf8(video.path)) {
      summary_->failed.push_back({video.path, "path is not UTF-8 text"});
    } else {
      pending_.push_back(std::move(item));
    }
  }
  UnifyShowTitles(&pending_);
}

bool Scanner::StoreAll(std::string* error) {
  ProgressBar* progress = options_.progress;
  if (progress) progress->Start(pending_.size());
  // The next batch is probed while this one is stored.
  ReadAhead ahead(pending_.size(), 2 * batch_size_,
                  [this](size_t i) { context_.ReadItem(&pending_[i]); });
  for (size_t first = 0; first < pending_.size(); first += batch_size_) {
    size_t end = std::min(pending_.size(), first + batch_size_);
    std::vector<ScanItem*> batch;
    for (size_t i = first; i < end; ++i) batch.push_back(&pending_[i]);
    std::vector<std::string> reasons(batch.size());
    std::vector<bool> stored = StoreBatch(batch, [&](ScanItem* item) {
      size_t index = item - &pending_[0];
      ahead.Wait(index);
      if (progress) progress->Update(index, item->found->path);
      return context_.StoreItem(item, &reasons[index - first]);
    });
    ahead.Release(end);
    // A batch that lost every file may have lost the server: then the scan
    // ends here, a database error rather than a list of failed files.
    if (std::find(stored.begin(), stored.end(), true) == stored.end() &&
        !DatabaseReachable(error)) {
      return false;
    }
    for (size_t i = 0; i < batch.size(); ++i) {
      ScanItem* item = batch[i];
      if (!stored[i]) {
        summary_->failed.push_back({item->found->path, reasons[i]});
      } else {
        context_.StorePosters(item);
        ++(item->stored ? summary_->updated : summary_->added);
      }
      for (PathIssue& warning : item->warnings) summary_->warnings.push_back(std::move(warning));
      item->records.reset();
    }
  }
  if (progress) progress->Finish();
  return true;
}

void Scanner::FindGone() {
  std::unordered_set<std::string> found;
  for (const FoundVideo& video : videos_) found.insert(video.path);
  for (const auto& entry : state_.files()) {
    if (!found.count(entry.first) && Vanished(entry.first)) gone_.push_back(entry.first);
  }
  std::sort(gone_.begin(), gone_.end());
}

// Gone files that reappear elsewhere keep their items: they are renamed
// instead of being removed, and their new paths are not stored again.
void Scanner::ApplyMoves() {
  std::vector<GoneFile> gone;
  for (const std::string& path : gone_) gone.push_back({path, state_.Find(path)->size});
  std::vector<NewFile> fresh;
  std::vector<size_t> fresh_items;
  for (size_t i = 0; i < pending_.size(); ++i) {
    if (pending_[i].stored) continue;
    fresh.push_back({pending_[i].found->path, pending_[i].size});
    fresh_items.push_back(i);
  }
  std::vector<FileMove> moves = MatchMoves(gone, fresh);
  std::sort(moves.begin(), moves.end(),
            [](const FileMove& a, const FileMove& b) { return a.gone < b.gone; });
  std::vector<bool> renamed_gone(gone.size(), false), renamed_item(pending_.size(), false);
  for (size_t first = 0; first < moves.size(); first += batch_size_) {
    std::vector<FileMove> batch(moves.begin() + first,
                                moves.begin() + std::min(moves.size(), first + batch_size_));
    std::vector<bool> renamed = StoreBatch(batch, [&](const FileMove& move) {
      return RenameStoredFile(gone[move.gone].path, fresh[move.fresh].path);
    });
    for (size_t i = 0; i < batch.size(); ++i) {
      if (!renamed[i]) continue;
      renamed_gone[batch[i].gone] = true;
      renamed_item[fresh_items[batch[i].fresh]] = true;
      ++summary_->moved;
    }
  }
  if (summary_->moved == 0) return;
  std::vector<std::string> still_gone;
  for (size_t i = 0; i < gone_.size(); ++i) {
    if (!renamed_gone[i]) still_gone.push_back(std::move(gone_[i]));
  }
  gone_.swap(still_gone);
  std::vector<ScanItem> still_pending;
  for (size_t i = 0; i < pending_.size(); ++i) {
    if (!renamed_item[i]) still_pending.push_back(std::move(pending_[i]));
  }
  pending_.swap(still_pending);
}

void Scanner::RemoveGone() {
  for (size_t first = 0; first < gone_.size(); first += batch_size_) {
    std::vector<std::string> batch(gone_.begin() + first,
                                   gone_.begin() + std::min(gone_.size(), first + batch_size_));
    std::vector<bool> removed = StoreBatch(
        batch, [](const std::string& path) { return VideoInfoDelete(path.c_str(), false) == 0; });
    for (size_t i = 0; i < batch.size(); ++i) {
      if (removed[i]) {
        ++summary_->removed;
      } else {
        summary_->failed.push_back({batch[i], "vanished, but the library did not remove it"});
      }
    }
  }
}

}  // namespace

bool RunScan(const ScanOptions& options, ScanSummary* summary, std::string* error) {
  Scanner scanner(options, summary);
  return scanner.Run(error);
}

}  // namespace kinolot_scan
