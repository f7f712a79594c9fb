// Measures the media scanner: a first scan of N real video files (hard links
// of a few tiny generated samples under distinct names: movies, and episodes
// of shows in season folders), a rescan of the unchanged folder, a scan after
// 1,000 of them moved to another folder, and a scan after every file
// vanished, against the server that PGHOST and PGPORT name. Prints files per
// second and statements per file for each.
//
// Then the folder watch over 10,000 files in 500 folders: the CPU time and
// memory it takes while nothing changes, and the time from a new file's last
// write to its row being visible to another connection (median of 10).
//
//   scan_bench [N]      N files, 2000 when left out
//
// The files live in temporary folders, and the last scans remove what the
// first stored, so the database's own data is left as it was.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench_library.h"
#include "kinolot/kinolot.h"
#include "scan/folder_watch.h"
#include "scan/media_probe.h"
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
      "(added %ld, updated %ld, unchanged %ld, removed %ld, moved %ld, failed %zu)\n",
      label, files, seconds, files / seconds, static_cast<double>(counters.statements) / files,
      summary.added, summary.updated, summary.unchanged, summary.removed, summary.moved,
      summary.failed.size());
  return summary;
}

using Clock = std::chrono::steady_clock;

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
         (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// The resident memory of this process, in kB.
long ResidentKb() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  }
  return 0;
}

// Moves 1,000 movie files (or all when fewer) into one other folder.
long MoveFiles(const std::string& root) {
  namespace fs = std::filesystem;
  fs::create_directories(root + "/Moved");
  std::vector<fs::path> movies;
  for (const auto& entry : fs::directory_iterator(root + "/Movies")) movies.push_back(entry.path());
  std::sort(movies.begin(), movies.end());
  long moved = 0;
  for (const fs::path& movie : movies) {
    if (moved == 1000) break;
    fs::rename(movie, root + "/Moved/" + movie.filename().string());
    ++moved;
  }
  return moved;
}

// The watch's idle cost and its latency, over 500 folders of 20 files.
bool MeasureWatch() {
  const int folders = 500, per_folder = 20;
  kinolot_test::TempDir root;
  for (int f = 0; f < folders; ++f) {
    for (int i = 0; i < per_folder; ++i) {
      std::string name = root.path() + "/Folder " + std::to_string(f) + "/Watched " +
                         std::to_string(f * per_folder + i) + " (2001).mkv";
      if (!kinolot_test::PlaceSample(Sample::kMatroskaH264, name)) return false;
    }
  }
  Measure("watched", root.path(), folders * per_folder);
  DBConnect_tag* reader = VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
  if (reader == nullptr) return false;

  kinolot_scan::WatchOptions options;
  options.folders = {{root.path(), kinolot_scan::ScanKind::kAuto}};
  long rss_before = ResidentKb();
  kinolot_scan::FolderWatch watch(options);
  std::thread thread([&] {
    std::string error;
    if (!watch.Run(&error)) fprintf(stderr, "watch failed: %s\n", error.c_str());
  });
  while (!watch.ready()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  const double idle_seconds = 10;
  double cpu = CpuSeconds();
  std::this_thread::sleep_for(std::chrono::duration<double>(idle_seconds));
  cpu = CpuSeconds() - cpu;
  printf(
      "watch idle  %d files in %d folders: %.4f s CPU in %.0f s (%.3f%%), %ld kB more memory "
      "than before it started, %ld scans\n",
      folders * per_folder, folders, cpu, idle_seconds, 100 * cpu / idle_seconds,
      ResidentKb() - rss_before, watch.scans());

  std::vector<double> latencies;
  for (int i = 0; i < 10; ++i) {
    std::string path = root.path() + "/Folder " + std::to_string(i * 37) + "/New " +
                       std::to_string(i) + " (2020).mkv";
    kinolot_test::PlaceSample(Sample::kMatroskaH264, path, true);
    Clock::time_point written = Clock::now();
    std::string query = "SELECT 1 FROM video_file WHERE path = '" + path + "'";
    for (;;) {
      DBResult_tag* result = nullptr;
      bool visible =
          VEXODBExecute(reader, query.c_str(), &result) == 0 && VEXODBNumRows(result) == 1;
      VEXODBFreeResult(result);
      if (visible) break;
      if (Clock::now() - written > std::chrono::seconds(30)) {
        fprintf(stderr, "%s never appeared\n", path.c_str());
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    latencies.push_back(std::chrono::duration<double>(Clock::now() - written).count());
  }
  std::sort(latencies.begin(), latencies.end());
  printf(
      "watch latency from the last write to a visible row: median %.3f s, min %.3f s, max %.3f "
      "s (settle %d ms)\n",
      (latencies[4] + latencies[5]) / 2, latencies.front(), latencies.back(), options.settle_ms);
  watch.Stop();
  thread.join();
  VEXODBClose(reader);
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(root.path())) {
    std::filesystem::remove_all(entry.path(), error);
  }
  return Measure("unwatched", root.path(), folders * per_folder + 10).removed ==
         folders * per_folder + 10;
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
  long moving = MoveFiles(folder.path());
  long probes = kinolot_scan::ProbeCount();
  ok = Measure("moves", folder.path(), moving).moved == moving && ok;
  printf("%-10s %6ld files probed to tell them\n", "", kinolot_scan::ProbeCount() - probes);
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    std::filesystem::remove_all(entry.path(), error);
  }
  ok = Measure("removal", folder.path(), count).removed == count && ok;
  ok = MeasureWatch() && ok;
  VideoDBConnClose();
  return ok ? 0 : 1;
}
