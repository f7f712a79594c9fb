// The media scanner: walks the scanned folders, stores every new or changed
// video file with its technical data and description through the library's
// indexing interface in batches, leaves unchanged files alone, removes files
// that vanished, and attaches posters.
#ifndef KINOLOT_TOOLS_SCAN_SCANNER_H_
#define KINOLOT_TOOLS_SCAN_SCANNER_H_

#include <cstddef>
#include <string>
#include <vector>

#include "media_name.h"
#include "progress.h"
#include "scan_summary.h"

namespace kinolot_scan {

struct ScanFolder {
  std::string path;  // absolute, without a trailing slash (or "/")
  ScanKind kind = ScanKind::kAuto;
};

struct ScanOptions {
  std::vector<ScanFolder> folders;
  // Files stored per transaction: the server makes a batch durable at once
  // instead of after every statement.
  size_t batch_size = 200;
  ProgressBar* progress = nullptr;  // may be null
};

// Scans `options.folders` into the library and tells what it did in
// `summary`. A file that fails never stops the scan; it is listed in
// `summary->failed`. Returns false, with the reason in `error`, when the
// database cannot be reached or read at the start (nothing is stored then)
// or is lost during the scan (what was stored before stays).
bool RunScan(const ScanOptions& options, ScanSummary* summary, std::string* error);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_SCANNER_H_
