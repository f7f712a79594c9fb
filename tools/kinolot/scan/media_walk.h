// The folder walk of the scanner: finds the video files under the scanned
// folders by their extension, with the size and modification time of each,
// and reports every entry it passes over (hidden, unreadable, a broken link,
// a symlink loop) with the reason.
#ifndef KINOLOT_TOOLS_SCAN_MEDIA_WALK_H_
#define KINOLOT_TOOLS_SCAN_MEDIA_WALK_H_

#include <sys/types.h>

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "media_name.h"

namespace kinolot_scan {

// A path the scanner did not take, and why.
struct PathIssue {
  std::string path;
  std::string reason;
};

struct FoundVideo {
  std::string path;  // the scanned folder's path followed by the way down to the file
  ScanKind kind;     // the --as of the scanned folder it was found under
  int64_t size = 0;
  int64_t mtime_ns = 0;  // modification time, nanoseconds since the epoch
};

// Returns whether `name` ends in one of the video extensions (mkv, mp4, m4v,
// avi, mov, wmv, ts, m2ts, webm, mpg, ...), in any case.
bool IsVideoName(const std::string& name);

// Walks folders one after another, remembering the folders it has entered
// (by device and inode) so that a symlink back up the tree, or a second way
// into a folder already walked, is not followed again.
class MediaWalk {
 public:
  // Folders the walk must not enter: other scanned folders nested inside the
  // one being walked, which are walked with their own kind.
  explicit MediaWalk(std::set<std::string> roots) : roots_(std::move(roots)) {}

  // Appends every video file under the folder `root` (an absolute path
  // without a trailing slash, or "/") to `videos` and every entry passed over
  // to `skipped`. Hidden entries (names starting with a dot) are reported
  // when they are folders or video files; other files are ignored quietly.
  // Returns false, with the reason in `skipped`, when `root` itself cannot be
  // read.
  bool Walk(const std::string& root, ScanKind kind, std::vector<FoundVideo>* videos,
            std::vector<PathIssue>* skipped);

 private:
  void WalkFolder(const std::string& folder, ScanKind kind, std::vector<FoundVideo>* videos,
                  std::vector<PathIssue>* skipped);

  std::set<std::string> roots_;
  std::set<std::pair<dev_t, ino_t>> entered_;
};

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_MEDIA_WALK_H_
