// Measures the media scanner: a first scan of N real video files (hard links
// of a few tiny generated samples under distinct names: movies, and episodes
// of shows in season folders), a rescan of the unchanged folder, and a scan
// after every file vanished, against the server that PGHOST and PGPORT name.
// Prints files per second and statements per file for each.
//
//   scan_bench [N]      N files, 2000 when left out
//
// The files live in a temporary folder, and the last scan removes what the
// first stored, so the database's own data is left as it was.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench_library.h"
#include "kinolot/kinolot.h"
#include "scan/scanner.h"
#include "support/sample_videos.h"

using namespace LibKinolot;
using kinolot_test::Sample;

namespace {

// One scan of `folder`; prints its figures and returns its summary.
kinolot_scan::ScanSummary Measure(const char* label, const std::string& folder, long files) {
  kinolot_scan::ScanOptions options;
  options.folders = {{folder, kinolot_scan::ScanKind::kAuto}};
  kinolot_scan::ScanSummary summary;
  std::string error;
  VEXODBCountersReset();
  auto start = std::chrono::steady_clock::now();
  if (!kinolot_scan::RunScan(options, &summary, &error)) {
    fprintf(stderr, "scan failed: %s\n", error.c_str());
    exit(1);
  }
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  VEXODBCounters counters = VEXODBCountersGet();
  printf(
      "%-10s %6ld files in %7.3f s: %9.0f files/s, %5.1f statements per file "
      "(added %ld, updated %ld, unchanged %ld, removed %ld, failed %zu)\n",
      label, files, seconds, files / seconds, static_cast<double>(counters.statements) / files,
      summary.added, summary.updated, summary.unchanged, summary.removed, summary.failed.size());
  return summary;
}

}  // namespace

int main(int argc, char** argv) {
  const long count = kinolot_bench::CountArgument(argc, argv, 2000, 1000000);
  kinolot_test::TempDir folder;
  if (folder.path().empty()) return 1;
  // Three of every four files are movies, the fourth an episode of one of
  // twenty shows with five seasons each.
  const Sample samples[] = {Sample::kMatroskaH264, Sample::kMp4Mpeg4, Sample::kMpegTs};
  const char* extensions[] = {".mkv", ".mp4", ".ts"};
  for (long i = 0; i < count; ++i) {
    std::string name;
    if (i % 4 == 3) {
      std::string show = "Bench Show " + std::to_string(i % 20);
      char episode[32];
      snprintf(episode, sizeof(episode), " - S%02ldE%03ld", 1 + i / 20 % 5, i);
      name = show + "/Season " + std::to_string(1 + i / 20 % 5) + "/" + show + episode;
    } else {
      name = "Movies/Bench Movie " + std::to_string(i) + " (" + std::to_string(1950 + i % 70) + ")";
    }
    if (!kinolot_test::PlaceSample(samples[i % 3],
                                   folder.path() + "/" + name + extensions[i % 3])) {
      fprintf(stderr, "could not generate the sample files (is ffmpeg installed?)\n");
      return 1;
    }
  }

  bool ok = Measure("first scan", folder.path(), count).added == count;
  ok = Measure("rescan", folder.path(), count).unchanged == count && ok;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    std::filesystem::remove_all(entry.path(), error);
  }
  ok = Measure("removal", folder.path(), count).removed == count && ok;
  VideoDBConnClose();
  return ok ? 0 : 1;
}
