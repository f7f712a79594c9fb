// Measures how fast the indexing interface stores scanned files: N synthetic
// files of mixed kinds (movies, episodes, home videos, TV recordings), each
// through VideoInfoVideoFileSave and VideoInfoSave, against the server that
// PGHOST and PGPORT name. It stores them twice: one statement at a time
// (every write its own durable commit), then in batches of 100 files, one
// transaction each (VideoDBBatchBegin/Commit). Each run's statements are
// recorded and replayed on one plain libpq connection, the floor the library
// is compared with. Prints files per second and statements per file, and
// whether the server flushes its commits (fsync, synchronous_commit).
//
//   index_bench [N]      N files, 2000 when left out
//
// Every run stores under a folder of its own with titles no real library
// uses; before each replay, and at the end, the rows of the mapper ids the
// run was given are deleted again (the bench expects no other writer while
// it runs), so the database's own data is left as it was. The replay resets
// the id sequences to where the run started, so that it creates the rows
// with the very ids its statements name.
#include <libpq-fe.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "bench_library.h"
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

using Clock = std::chrono::steady_clock;

// Collects every statement the library sends.
void Record(void* context, const char* sql) {
  static_cast<std::vector<std::string>*>(context)->emplace_back(sql);
}

// A plain libpq session: the replays, and the bookkeeping around the runs.
class Raw {
 public:
  Raw()
      : pg_(PQconnectdb("dbname=video_metadata user=admin client_encoding=UTF8 "
                        "options='-c standard_conforming_strings=on'")) {}
  ~Raw() { PQfinish(pg_); }
  Raw(const Raw&) = delete;
  Raw& operator=(const Raw&) = delete;

  bool Connected() const { return PQstatus(pg_) == CONNECTION_OK; }

  // Runs `sql`; returns the first field of its first row ("" when none), and
  // counts a failure in `failures` when given.
  std::string Run(const std::string& sql, long* failures = nullptr) {
    PGresult* result = PQexec(pg_, sql.c_str());
    ExecStatusType status = PQresultStatus(result);
    std::string value;
    if (status == PGRES_TUPLES_OK && PQntuples(result) > 0) value = PQgetvalue(result, 0, 0);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
      if (failures) ++*failures;
      fprintf(stderr, "failed: %.200s\n  %s", sql.c_str(), PQerrorMessage(pg_));
    }
    PQclear(result);
    return value;
  }

 private:
  PGconn* pg_;
};

// The id sequences of every table the indexing interface inserts into.
const char* const kTables[] = {"mapper",    "movie",      "tvshow", "tvshow_episode", "home_video",
                               "tv_record", "video_file", "poster", "summary",        "plus_info",
                               "actor",     "director",   "writer", "gnere"};

// A statement that puts every sequence back where it is now.
std::string SequenceState(Raw& raw) {
  std::string restore = "SELECT 1";
  for (const char* table : kTables) {
    std::string sequence = "pg_get_serial_sequence('" + std::string(table) + "', 'id')";
    std::string state =
        raw.Run("SELECT last_value || ',' || is_called FROM " + raw.Run("SELECT " + sequence));
    std::string last = state.substr(0, state.find(','));
    bool called = state.substr(state.find(',') + 1) == "true";
    restore += ", setval(" + sequence + ", " + last + (called ? ", true)" : ", false)");
  }
  return restore;
}

struct Result {
  long failures = 0;
  double seconds = 0;
  double statements = 0;
};

void Print(const char* mode, long count, const Result& result) {
  printf("  %-36s %8.1f files/s %6.2f s %6.1f statements/file %ld failed\n", mode,
         result.seconds > 0 ? count / result.seconds : 0.0, result.seconds,
         result.statements / count, result.failures);
  fflush(stdout);
}

// Stores `count` files under `folder`, `batch` files per transaction (0: no
// transactions), recording what it sends into `sent`.
Result Store(long count, long batch, const std::string& tag, const std::string& folder,
             std::vector<std::string>& sent) {
  Result result;
  VEXODBStatementHookSet(&Record, &sent);
  VEXODBCountersReset();
  auto start = Clock::now();
  for (long first = 0; first<count; first += batch> 0 ? batch : count) {
    long end = batch > 0 ? std::min(count, first + batch) : count;
    if (batch > 0 && VideoDBBatchBegin() != 0) {
      result.failures += end - first;
      continue;
    }
    long failed = 0;
    for (long i = first; i < end; ++i) {
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
      if (VideoInfoVideoFileSave(&file) != 0 || VideoInfoSave(path.c_str(), &info) != 0) ++failed;
    }
    // A batch that fails to commit has stored none of its files.
    if (batch > 0 && VideoDBBatchCommit() != 0) failed = end - first;
    result.failures += failed;
  }
  result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  VEXODBStatementHookSet(nullptr, nullptr);
  result.statements = static_cast<double>(VEXODBCountersGet().statements);
  return result;
}

// Sends `statements` in turn on `raw`.
Result Replay(Raw& raw, const std::vector<std::string>& statements) {
  Result result;
  auto start = Clock::now();
  for (const std::string& sql : statements) raw.Run(sql, &result.failures);
  result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  result.statements = static_cast<double>(statements.size());
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  const long count = kinolot_bench::CountArgument(argc, argv, 2000, 10000000);
  Raw raw;
  if (!raw.Connected() || VideoDBGetCount(VIDEO_TABLE_VIDEO_FILE, "id", nullptr, nullptr) < 0) {
    fprintf(stderr, "no database reachable (set PGHOST and PGPORT)\n");
    return 1;
  }
  printf("%ld files; server: fsync=%s synchronous_commit=%s\n", count,
         raw.Run("SHOW fsync").c_str(), raw.Run("SHOW synchronous_commit").c_str());

  bool ok = true;
  const struct {
    const char* library;
    const char* replay;
    long batch;
  } modes[] = {{"unbatched", "unbatched, its statements raw", 0},
               {"batches of 100 files", "batched, its statements raw", 100}};
  for (const auto& mode : modes) {
    // Titles carry the same tag as the folder, so that no description of
    // the real library is ever matched and updated.
    const std::string tag = std::to_string(getpid()) + "-" +
                            std::to_string(static_cast<long>(time(nullptr))) + "-" +
                            std::to_string(mode.batch);
    const std::string folder = "/kinolot-index-bench-" + tag;
    const std::string base =
        raw.Run("SELECT GREATEST(COALESCE(max(id), 0), (SELECT last_value FROM " +
                raw.Run("SELECT pg_get_serial_sequence('mapper', 'id')") + ")) FROM mapper");
    const std::string restore = SequenceState(raw);
    const std::string remove = "DELETE FROM mapper WHERE id > " + base;
    std::vector<std::string> sent;
    Result stored = Store(count, mode.batch, tag, folder, sent);
    Print(mode.library, count, stored);
    VideoDBConnClose();
    long failures = 0;
    raw.Run(remove, &failures);
    raw.Run(restore, &failures);
    Result replayed = Replay(raw, sent);
    Print(mode.replay, count, replayed);
    raw.Run(remove, &failures);
    ok = ok && stored.failures == 0 && replayed.failures == 0 && failures == 0;
  }
  return ok ? 0 : 1;
}
