// Times the read side of VideoMetadataAPI, and an edit, on a generated
// library of 10,000 and of 100,000 items: a page of 50 movies with every
// additional piece, a keyword search, an episode opened with everything, a
// page of the actor browse and a movie edited in place. Each call is timed
// against the very statements it sends, recorded through the statement hook
// and replayed on one warm libpq connection; library and replay runs
// alternate, so that noise falls on both, and the medians are printed with
// the connections opened and reused and the statements sent per call.
//
//   metadata_bench [--items N]... [--statements] [SERVER]
//
// SERVER is the server's host or socket folder (as PGHOST); without it the
// server is libpq's default. --items replaces the default sizes (10,000 and
// 100,000); --statements also prints what each call sends, for EXPLAIN. The
// library always uses the database "video_metadata" as "admin"; the generated
// rows are added to whatever it holds and removed again at the end, also
// after a failure.
#include <libpq-fe.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench_library.h"
#include "kinolot/platform/vexo_db.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_metadata_api.h"

using namespace LibKinolot;

using kinolot_bench::Library;

namespace {

using Clock = std::chrono::steady_clock;

bool g_print_statements = false;

// Collects the statements the library sends while `on`.
struct Recorder {
  bool on = false;
  std::vector<std::string> sql;
  static void Hook(void* context, const char* sql) {
    auto* self = static_cast<Recorder*>(context);
    if (self->on) self->sql.emplace_back(sql);
  }
};

// One plain libpq session with the settings the library pins on its own.
class RawConnection {
 public:
  RawConnection()
      : pg_(PQconnectdb("dbname=video_metadata user=admin client_encoding=UTF8 "
                        "options='-c standard_conforming_strings=on'")) {}
  ~RawConnection() { PQfinish(pg_); }
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;

  bool Connected() const { return PQstatus(pg_) == CONNECTION_OK; }
  const char* Error() const { return PQerrorMessage(pg_); }

  // Sends every statement in turn and reads its whole result.
  bool Replay(const std::vector<std::string>& statements) {
    bool ok = true;
    for (const std::string& sql : statements) {
      PGresult* result = PQexec(pg_, sql.c_str());
      ExecStatusType status = PQresultStatus(result);
      if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        fprintf(stderr, "replay failed: %s\n  %s", sql.c_str(), PQerrorMessage(pg_));
        ok = false;
      }
      PQclear(result);
    }
    return ok;
  }

 private:
  PGconn* pg_;
};

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

double Ms(Clock::duration elapsed) {
  return std::chrono::duration<double, std::milli>(elapsed).count();
}

// Runs `call` once to warm it up and record its statements, then `rounds`
// times alternating with a replay of those statements on `raw`.
void Measure(const char* name, int rounds, Recorder& recorder, RawConnection& raw,
             const std::function<bool()>& call) {
  recorder.sql.clear();
  recorder.on = true;
  bool ok = call();
  recorder.on = false;
  const std::vector<std::string> statements = recorder.sql;
  ok = raw.Replay(statements) && ok;
  if (g_print_statements) {
    for (const std::string& sql : statements) printf("    %s;\n", sql.c_str());
  }

  std::vector<double> library_ms, raw_ms;
  VEXODBCountersReset();
  for (int i = 0; i < rounds; ++i) {
    auto start = Clock::now();
    ok = call() && ok;
    library_ms.push_back(Ms(Clock::now() - start));
    start = Clock::now();
    ok = raw.Replay(statements) && ok;
    raw_ms.push_back(Ms(Clock::now() - start));
  }
  VEXODBCounters used = VEXODBCountersGet();  // the replays bypass the library
  double lib = Median(library_ms), floor = Median(raw_ms);
  printf("  %-40s %9.2f %9.2f %6.2fx %8.1f %8.1f %6.1f%s\n", name, lib, floor,
         floor > 0 ? lib / floor : 0.0, static_cast<double>(used.connects) / rounds,
         static_cast<double>(used.reused) / rounds, static_cast<double>(used.statements) / rounds,
         ok ? "" : "  (FAILED)");
  fflush(stdout);
}

bool RunSize(long items) {
  Library library;
  if (!library.Connected()) {
    fprintf(stderr, "cannot connect: %s\n", VEXODBErrorGet(nullptr));
    return false;
  }
  RawConnection raw;
  if (!raw.Connected()) {
    fprintf(stderr, "cannot connect: %s", raw.Error());
    return false;
  }
  auto start = Clock::now();
  if (!library.Generate(items)) return false;
  printf("%ld items generated in %.1f s; medians of %d runs\n", items,
         std::chrono::duration<double>(Clock::now() - start).count(), items > 50000 ? 15 : 31);
  printf("  %-40s %9s %9s %7s %8s %8s %6s\n", "call", "library", "raw", "ratio", "opened", "reused",
         "stmts");
  printf("  %-40s %9s %9s %7s %8s %8s %6s\n", "", "ms", "ms", "", "/call", "/call", "/call");

  Recorder recorder;
  VEXODBStatementHookSet(&Recorder::Hook, &recorder);
  VideoMetadataAPI api;
  const int rounds = items > 50000 ? 15 : 31;
  const auto everyPiece = static_cast<_VIDEO_ADDITIONAL_>(0x1FF);
  unsigned long total = 0, count = 0;
  Json::Value answer;
  Measure("List, 50 movies at offset N/4, all", rounds, recorder, raw, [&] {
    return api.List(VIDEO_TABLE_MOVIE, static_cast<unsigned long>(items / 4), 50, everyPiece,
                    "sort_title", ORDER_DIRECTION_ASC, "", nullptr, nullptr, nullptr, nullptr, "",
                    answer, total, count) &&
           answer["movies"].size() == 50;
  });
  Json::Value keywords;
  keywords["title"] = "Movie 12";
  keywords["actor"] = "Actor 34";
  Measure("Search by keywords, 50 movies", rounds, recorder, raw, [&] {
    return api.Search(VIDEO_TABLE_MOVIE, 0, 50, VIDEO_ADDITIONAL_NONE, "title", ORDER_DIRECTION_ASC,
                      keywords, "", "", nullptr, nullptr, nullptr, nullptr, "", answer, total,
                      count);
  });
  const std::string episode = std::to_string(library.First("tvshow_episode"));
  Measure("GetInfo, episode with everything", rounds, recorder, raw, [&] {
    api.GetInfo(VIDEO_TABLE_TVSHOW_EPISODE, static_cast<_VIDEO_ADDITIONAL_>(0x7FF), episode,
                answer);
    return answer["episodes"].size() == 1;
  });
  Measure("CategoryBrowse, actors of movies, 50", rounds, recorder, raw, [&] {
    return api.CategoryBrowse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, 0, 50, ORDER_DIRECTION_ASC,
                              nullptr, answer, total, count);
  });
  // An edit that keeps the movie's title and year: found as itself, then
  // updated in place with its summary, extra information and four lists.
  // Replaying its statements writes the same values again.
  const long movie = library.First("movie");
  const std::string title = "Movie " + std::to_string(library.MapperOf("movie", movie));
  Measure("Edit, movie in place", rounds, recorder, raw, [&] {
    return api.Edit(VIDEO_TABLE_MOVIE, std::to_string(movie), "", title, "Tag", nullptr, "", "", "",
                    "false", "", "Summary", "Actor 1|Actor 2", "Director 1", "Writer 1", "Genre 1",
                    nullptr, nullptr, nullptr, nullptr);
  });
  VEXODBStatementHookSet(nullptr, nullptr);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<long> sizes;
  const char* server = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--statements") == 0) {
      g_print_statements = true;
    } else if (strcmp(argv[i], "--items") == 0 && i + 1 < argc) {
      long n = strtol(argv[++i], nullptr, 10);
      if (n < 1000) {
        fprintf(stderr, "--items: at least 1000\n");
        return 2;
      }
      sizes.push_back(n);
    } else if (argv[i][0] != '-' && server == nullptr) {
      server = argv[i];
    } else {
      fprintf(stderr, "usage: %s [--items N]... [--statements] [SERVER]\n", argv[0]);
      return 2;
    }
  }
  if (server != nullptr) setenv("PGHOST", server, 1);
  if (sizes.empty()) sizes = {10000L, 100000L};
  for (long items : sizes) {
    if (!RunSize(items)) return 1;
  }
  return 0;
}
