// Times the read side of VideoMetadataAPI on a generated library of 10,000
// and of 100,000 items: a page of 50 movies with every additional piece, a
// keyword search, an episode opened with its show's information, and a page
// of the actor browse. For each it prints the time per call and the
// connections and statements one call used.
//
//   metadata_bench [SERVER]
//
// SERVER is the server's host or socket folder (as PGHOST); without it the
// server is libpq's default. The library always uses the database
// "video_metadata" as "admin"; the generated rows are added to whatever it
// holds and removed again at the end, also after a failure.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "kinolot/platform/vexo_db.h"
#include "kinolot/string_helpers.h"
#include "bench_library.h"
#include "kinolot/video_metadata_api.h"

using namespace LibKinolot;

using kinolot_bench::Library;

namespace {

// Runs `call` `rounds` times and prints the time and database use per call.
template <typename Call>
void Measure(const char* name, int rounds, Call call) {
  VEXODBCountersReset();
  auto start = std::chrono::steady_clock::now();
  bool ok = true;
  for (int i = 0; i < rounds; ++i) ok = call() && ok;
  auto elapsed = std::chrono::steady_clock::now() - start;
  VEXODBCounters used = VEXODBCountersGet();
  double ms = std::chrono::duration<double, std::milli>(elapsed).count() / rounds;
  printf("  %-40s %9.2f ms/call %6.1f connections %6.1f statements%s\n", name, ms,
         static_cast<double>(used.connects) / rounds, static_cast<double>(used.statements) / rounds,
         ok ? "" : "  (FAILED)");
}

bool RunSize(long items) {
  Library library;
  if (!library.Connected()) {
    fprintf(stderr, "cannot connect: %s\n", VEXODBErrorGet(nullptr));
    return false;
  }
  auto start = std::chrono::steady_clock::now();
  if (!library.Generate(items)) return false;
  printf("%ld items generated in %.1f s\n", items,
         std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());

  VideoMetadataAPI api;
  const int rounds = items > 50000 ? 5 : 20;
  const auto everyPiece = static_cast<_VIDEO_ADDITIONAL_>(0x1FF);
  unsigned long total = 0, count = 0;
  Json::Value answer;
  Measure("List, 50 movies, every piece", rounds, [&] {
    return api.List(VIDEO_TABLE_MOVIE, static_cast<unsigned long>(items / 4), 50, everyPiece,
                    "sort_title", ORDER_DIRECTION_ASC, "", nullptr, nullptr, nullptr, nullptr, "",
                    answer, total, count) &&
           answer["movies"].size() == 50;
  });
  Json::Value keywords;
  keywords["title"] = "Movie 12";
  keywords["actor"] = "Actor 34";
  Measure("Search by keywords, 50 movies", rounds, [&] {
    return api.Search(VIDEO_TABLE_MOVIE, 0, 50, VIDEO_ADDITIONAL_NONE, "title", ORDER_DIRECTION_ASC,
                      keywords, "", "", nullptr, nullptr, nullptr, nullptr, "", answer, total,
                      count);
  });
  const std::string episode = std::to_string(library.First("tvshow_episode"));
  Measure("GetInfo, episode with its show", rounds, [&] {
    api.GetInfo(VIDEO_TABLE_TVSHOW_EPISODE, static_cast<_VIDEO_ADDITIONAL_>(0x7FF), episode,
                answer);
    return answer["episodes"].size() == 1;
  });
  Measure("CategoryBrowse, actors of movies, 50", rounds, [&] {
    return api.CategoryBrowse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, 0, 50, ORDER_DIRECTION_ASC,
                              nullptr, answer, total, count);
  });
  // An edit that keeps the movie's title and year: found as itself, then
  // updated in place with its summary, extra information and four lists.
  const long movie = library.First("movie");
  const std::string title = "Movie " + std::to_string(library.MapperOf("movie", movie));
  Measure("Edit, movie in place", rounds, [&] {
    return api.Edit(VIDEO_TABLE_MOVIE, std::to_string(movie), "", title, "Tag", nullptr, "", "", "",
                    "false", "", "Summary", "Actor 1|Actor 2", "Director 1", "Writer 1", "Genre 1",
                    nullptr, nullptr, nullptr, nullptr);
  });
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2) {
    fprintf(stderr, "usage: %s [SERVER]\n", argv[0]);
    return 2;
  }
  if (argc == 2) setenv("PGHOST", argv[1], 1);
  for (long items : {10000L, 100000L}) {
    if (!RunSize(items)) return 1;
  }
  return 0;
}
