// Measures playing a film from `kinolot serve`'s point of view, without the
// HTTP layer: a generated 2-minute 1080p H.264 Matroska film at 8 Mbit/s
// (AAC audio, and a copy with 5.1 AC-3 audio) remuxed into fragmented MP4,
// and the same film read for direct play from the page cache, against `cat`
// of it. Prints the time to first byte, remux speed as a multiple of real
// time with its CPU time, direct throughput, and memory per remux stream:
// the heap in use while it sends, and the growth of the process's resident
// memory with 1 and with 8 streams at once (which also holds what probing the
// film took and the allocator kept).
//
//   stream_bench [FOLDER]     FOLDER keeps the generated films between runs
//                             (default /tmp/kinolot-stream-bench-8m)
#include <malloc.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "serve/byte_ranges.h"
#include "serve/fmp4_remux.h"

using namespace kinolot_serve;

namespace {

using Clock = std::chrono::steady_clock;
constexpr double kFilmSeconds = 120;

double Since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double ThreadCpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

size_t HeapInUse() {
  struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

size_t ResidentBytes() {
  std::ifstream statm("/proc/self/statm");
  size_t pages = 0, resident = 0;
  statm >> pages >> resident;
  return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

void Run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    fprintf(stderr, "failed: %s\n", command.c_str());
    exit(1);
  }
}

// The films, made once per folder.
void Generate(const std::string& aac, const std::string& ac3) {
  if (!std::filesystem::exists(aac)) {
    fprintf(stderr, "generating %s (2 minutes of 1080p H.264 at 8 Mbit/s)...\n", aac.c_str());
    // Noise over the test pattern gives the encoder a film's amount of
    // detail, so the file has a film's bit rate.
    Run("ffmpeg -v error -y -nostdin -f lavfi -i testsrc2=duration=120:size=1920x1080:rate=25 "
        "-f lavfi -i sine=duration=120:sample_rate=48000 -vf noise=alls=12:allf=t "
        "-c:v libx264 -preset ultrafast -bf 2 -g 250 -b:v 8M -maxrate 10M -bufsize 16M "
        "-pix_fmt yuv420p -c:a aac -ac 2 " +
        aac + ".part.mkv && mv " + aac + ".part.mkv " + aac);
  }
  if (!std::filesystem::exists(ac3)) {
    Run("ffmpeg -v error -y -nostdin -i " + aac + " -c:v copy -c:a ac3 -ac 6 " + ac3 +
        ".part.mkv && mv " + ac3 + ".part.mkv " + ac3);
  }
}

struct RemuxFigures {
  double first_byte = 0, wall = 0, cpu = 0;
  size_t bytes = 0, peak_heap = 0;
};

RemuxFigures Remux(const std::string& path, double start) {
  RemuxFigures figures;
  const size_t heap_before = HeapInUse();
  const double cpu_before = ThreadCpuSeconds();
  const Clock::time_point began = Clock::now();
  std::string error;
  RemuxStep step = RemuxToFragmentedMp4(
      path, start,
      [&](const uint8_t*, size_t size) {
        if (figures.bytes == 0) figures.first_byte = Since(began);
        figures.bytes += size;
        figures.peak_heap = std::max(figures.peak_heap, HeapInUse() - heap_before);
        return true;
      },
      &error);
  figures.wall = Since(began);
  figures.cpu = ThreadCpuSeconds() - cpu_before;
  if (step != RemuxStep::kFinished) {
    fprintf(stderr, "remux of %s failed: %s\n", path.c_str(), error.c_str());
    exit(1);
  }
  return figures;
}

void ReportRemux(const char* label, const std::string& path, double start) {
  RemuxFigures best;
  for (int round = 0; round < 3; ++round) {
    RemuxFigures figures = Remux(path, start);
    if (round == 0 || figures.wall < best.wall) best = figures;
  }
  const double media = kFilmSeconds - start;
  printf(
      "remux %-22s first byte %6.1f ms  %7.1fx real time  CPU %5.2f s (%.1f%% of real time)"
      "  %5.1f MB out  heap peak %.1f MB\n",
      label, best.first_byte * 1e3, media / best.wall, best.cpu, 100 * best.cpu / media,
      static_cast<double>(best.bytes) / 1e6, static_cast<double>(best.peak_heap) / 1e6);
}

void ReportDirect(const std::string& path) {
  double best = 1e9, first_byte = 0;
  int64_t size = 0;
  for (int round = 0; round < 5; ++round) {
    const Clock::time_point began = Clock::now();
    StreamFile file;
    if (file.Open(path, nullptr) != StreamFile::Status::kOpen) exit(1);
    RangeAnswer answer = AnswerRange(nullptr, nullptr, file.etag(), file.size());
    bool first = true;
    size_t sum = 0;
    StreamRange(file.fd(), answer.offset, answer.length, [&](const char* data, size_t n) {
      if (first) first_byte = Since(began), first = false;
      sum += static_cast<unsigned char>(data[n - 1]);  // touch the bytes, as a sender would
      return true;
    });
    best = std::min(best, Since(began));
    size = file.size();
    if (sum == 1) printf(" ");
  }
  double cat = 1e9;
  for (int round = 0; round < 5; ++round) {
    const Clock::time_point began = Clock::now();
    Run("cat " + path + " > /dev/null");
    cat = std::min(cat, Since(began));
  }
  const double megabytes = static_cast<double>(size) / 1e6;
  printf(
      "direct whole file (%.0f MB)    first byte %6.3f ms  %7.0f MB/s; cat %7.0f MB/s"
      " (direct takes %.2fx the time of cat)\n",
      megabytes, first_byte * 1e3, megabytes / best, megabytes / cat, best / cat);
}

void ReportConcurrent(const std::string& path, int streams) {
  malloc_trim(0);
  const size_t base = ResidentBytes();
  std::atomic<size_t> peak{base};
  std::atomic<bool> running{true};
  std::thread sampler([&] {
    while (running) {
      peak = std::max(peak.load(), ResidentBytes());
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  const Clock::time_point began = Clock::now();
  std::vector<std::thread> threads;
  for (int i = 0; i < streams; ++i) {
    threads.emplace_back([&path, i] { Remux(path, 10.0 * i); });
  }
  for (std::thread& thread : threads) thread.join();
  const double wall = Since(began);
  running = false;
  sampler.join();
  const double grown = static_cast<double>(peak - base) / 1e6;
  printf(
      "%d remux stream(s) at once   %.1f s in all; resident memory grew %.1f MB, %.1f MB per"
      " stream\n",
      streams, wall, grown, grown / streams);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : "/tmp/kinolot-stream-bench-8m";
  std::filesystem::create_directories(folder);
  const std::string aac = folder + "/film-h264-aac.mkv";
  const std::string ac3 = folder + "/film-h264-ac3.mkv";
  Generate(aac, ac3);
  Run("cat " + aac + " " + ac3 + " > /dev/null");  // into the page cache
  ReportRemux("H.264/AAC from 0 s", aac, 0);
  ReportRemux("H.264/AAC from 60 s", aac, 60);
  ReportRemux("H.264/AC-3->AAC", ac3, 0);
  ReportDirect(aac);
  ReportConcurrent(aac, 1);
  ReportConcurrent(aac, 8);
  return 0;
}
