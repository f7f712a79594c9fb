// Measures how fast the indexing interface stores scanned files: N synthetic
// files of mixed kinds (movies, episodes, home videos, TV recordings), each
// through VideoInfoVideoFileSave and VideoInfoSave, against the server that
// PGHOST and PGPORT name. Prints files per second and statements per file.
//
//   index_bench [N]      N files, 2000 when left out
//
// Everything is stored under a folder of its own that no real library uses
// and that is deleted again at the end, so the database's own data is left
// as it was.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "kinolot/kinolot.h"

using namespace LibKinolot;

namespace {

template <size_t N>
void Set(char (&field)[N], const std::string& text) {
  snprintf(field, N, "%s", text.c_str());
}

// The description of synthetic file `i`: four kinds in turn, with a few
// files sharing one movie and episodes sharing a show, as a real library has. `tag` makes
// every title this run's own.
_VIDEO_INFO_ Description(int i, const std::string& tag) {
  _VIDEO_INFO_ info{};
  std::string n = std::to_string(i);
  switch (i % 4) {
    case 0:
      info.type = VIDEO_TYPE_MOVIE;
      Set(info.title, "Bench Movie " + tag + " " + std::to_string(i / 8));
      Set(info.originally_available, std::to_string(1950 + i % 70) + "-05-01");
      Set(info.tag_line, "Tag line of " + n);
      info.actor = {"Actor " + n, "Actor " + std::to_string(i + 1)};
      info.director = {"Director " + std::to_string(i % 50)};
      info.gnere = {"Drama"};
      info.plus_info["rating"] = i % 10;
      break;
    case 1:
      info.type = VIDEO_TYPE_TVSHOW_EPISODE;
      Set(info.title, "Bench Show " + tag + " " + std::to_string(i / 100));
      Set(info.tvshow_originally_available, "2001-01-01");
      info.season = 1 + (i / 10) % 5;
      info.episode = i;
      Set(info.originally_available, "2001-02-03");
      info.actor = {"Regular"};
      break;
    case 2:
      info.type = VIDEO_TYPE_HOME_VIDEO;
      Set(info.title, "Holiday " + tag + " " + n);
      Set(info.record_time, "2015-07-0" + std::to_string(1 + i % 9) + " 10:00:00");
      break;
    default:
      info.type = VIDEO_TYPE_TV_RECORD;
      Set(info.title, "News " + tag + " " + n);
      Set(info.record_time, "2020-01-01 20:" + std::to_string(10 + i % 50) + ":00");
      Set(info.channel_name, "Channel " + std::to_string(i % 7));
      break;
  }
  Set(info.summary, "Summary of file " + n);
  return info;
}

}  // namespace

int main(int argc, char** argv) {
  long count = 2000;
  if (argc > 1) {
    char* end = nullptr;
    count = strtol(argv[1], &end, 10);
    if (end == argv[1] || *end != '\0' || count < 1 || count > 10000000) {
      fprintf(stderr, "usage: %s [number of files, default 2000]\n", argv[0]);
      return 2;
    }
  }
  // Titles carry the same tag as the folder, so that no description of
  // the real library is ever matched and updated.
  const std::string tag =
      std::to_string(getpid()) + "-" + std::to_string(static_cast<long>(time(nullptr)));
  const std::string folder = "/kinolot-index-bench-" + tag;
  if (VideoDBGetCount(VIDEO_TABLE_VIDEO_FILE, "id", nullptr, nullptr) < 0) {
    fprintf(stderr, "no database reachable (set PGHOST and PGPORT)\n");
    return 1;
  }

  long failures = 0;
  VEXODBCountersReset();
  auto start = std::chrono::steady_clock::now();
  for (long i = 0; i < count; ++i) {
    _VIDEO_INFO_ info = Description(static_cast<int>(i), tag);
    _VIDEO_INFO_VIDEO_FILE_ file{};
    file.type = VIDEO_TYPE_VIDEO_FILE;
    file.video_type = info.type;
    std::string path =
        folder + "/" + std::to_string(i % 20) + "/file " + std::to_string(i) + ".mkv";
    Set(file.path, path);
    file.filesize = 700000000LL + i;
    file.duration = 5400.5f;
    file.resolutionX = 1920;
    file.resolutionY = 1080;
    Set(file.video_codec, "h264");
    Set(file.audio_codec, "aac");
    Set(file.container_type, "matroska");
    if (VideoInfoVideoFileSave(&file) != 0 || VideoInfoSave(path.c_str(), &info) != 0) {
      ++failures;
    }
  }
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  VEXODBCounters counters = VEXODBCountersGet();

  printf("files:               %ld (%ld failed)\n", count, failures);
  printf("seconds:             %.2f\n", seconds);
  printf("files per second:    %.1f\n", seconds > 0 ? count / seconds : 0.0);
  printf("statements per file: %.1f\n", static_cast<double>(counters.statements) / count);

  int cleanup = VideoInfoDirDelete(folder.c_str(), true);
  printf("cleanup of %s: %s\n", folder.c_str(), cleanup == 0 ? "done" : "failed");
  VideoDBConnClose();
  return failures == 0 && cleanup == 0 ? 0 : 1;
}
