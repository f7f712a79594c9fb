// What one scan did, counted and listed, and its two printed forms: a few
// lines of text for people and a JSON object for programs.
#ifndef KINOLOT_TOOLS_SCAN_SCAN_SUMMARY_H_
#define KINOLOT_TOOLS_SCAN_SCAN_SUMMARY_H_

#include <json/value.h>

#include <string>
#include <vector>

#include "media_walk.h"

namespace kinolot_scan {

struct ScanSummary {
  std::vector<std::string> folders;  // the scanned folders, as walked
  long found = 0;                 // video files found: added + updated + unchanged + moved + failed
  long added = 0;                 // stored for the first time
  long updated = 0;               // stored before, changed on disk since
  long unchanged = 0;             // stored before and not opened again
  long removed = 0;               // stored under a scanned folder, gone from the disk
  long moved = 0;                 // stored before under another path: renamed, item kept
  std::vector<PathIssue> failed;  // files (or removals) the library refused
  std::vector<PathIssue> skipped;  // entries the walk passed over
  // Files stored with less than they hold: not probed, a sidecar not read, a
  // poster not stored, a locked item left as it was.
  std::vector<PathIssue> warnings;
  double seconds = 0;
};

// {"folders": [...], "found": n, "added": n, "updated": n, "unchanged": n,
//  "removed": n, "moved": n, "failed": [{"path": ..., "reason": ...}], "skipped": [...],
//  "warnings": [...], "seconds": s}
Json::Value SummaryJson(const ScanSummary& summary);

// One line of counts, then one line per failure, warning and skipped entry.
std::string SummaryText(const ScanSummary& summary);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_SCAN_SUMMARY_H_
