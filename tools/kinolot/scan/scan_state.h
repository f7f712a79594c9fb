// What the library already holds for the scanned folders, read once per scan
// so that a rescan can tell unchanged files without a statement per file:
// each stored file's size, the time it was stored and its item, and which
// items users have locked.
#ifndef KINOLOT_TOOLS_SCAN_SCAN_STATE_H_
#define KINOLOT_TOOLS_SCAN_SCAN_STATE_H_

#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>

namespace kinolot_scan {

struct StoredFile {
  int64_t size = 0;
  // When the row was last written, in microseconds since the epoch. A file
  // whose modification time is not later than this has not changed since.
  int64_t stored_us = 0;
  int mapper_id = -1;  // the item the file belongs to
};

class ScanState {
 public:
  // Reads every file stored under `folder` (an absolute path; "/" for all).
  // Returns false, with the reason in `error`, when the database cannot be
  // reached or read.
  bool LoadFolder(const std::string& folder, std::string* error);
  // Reads the locked movies, episodes and shows. Same failures.
  bool LoadLocks(std::string* error);

  const std::unordered_map<std::string, StoredFile>& files() const { return files_; }
  const StoredFile* Find(const std::string& path) const;
  // Whether the movie or episode (episodes also through their show) with
  // this mapper id is locked.
  bool IsLockedItem(int mapper_id) const { return locked_items_.count(mapper_id) > 0; }
  bool IsLockedShow(int mapper_id) const { return locked_shows_.count(mapper_id) > 0; }
  bool HasLocks() const { return !locked_items_.empty() || !locked_shows_.empty(); }

 private:
  std::unordered_map<std::string, StoredFile> files_;
  std::set<int> locked_items_, locked_shows_;
};

// When the poster of `mapper_id` was stored, in microseconds since the
// epoch; 0 when it has none or it cannot be read.
int64_t PosterStoredAt(int mapper_id);

// The path of one file of the item `mapper_id`, or with `of_show` of one
// episode file of the show `mapper_id`; empty when there is none.
std::string StoredPathOf(int mapper_id, bool of_show);

// How many stored files belong to the item of the stored file `path`: 1
// when it is the item's only file, 0 when `path` is not stored, -1 when the
// database cannot be read.
int FilesOfItemOf(const std::string& path);

// The stored technical data of the file `path` as one line of text
// (container, duration, codecs, picture size, audio rate and channels), in
// the form ProbedTechnicalText (file_moves.h) gives a probed file; "" when
// it is not stored or cannot be read.
std::string StoredTechnicalText(const std::string& path);

// Whether the database can be reached now. When it cannot, `problem` says
// why, naming the server tried (libpq's own message); when it can but a
// statement failed, `problem` points to the system log.
bool DatabaseReachable(std::string* problem);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_SCAN_STATE_H_
