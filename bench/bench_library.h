// The generated library of the benchmarks: about N videos of every kind,
// with people, genres, summaries, extra information and files, added to
// whatever the database "video_metadata" holds and removed again when the
// object goes away, also after a failure.
#ifndef KINOLOT_BENCH_BENCH_LIBRARY_H_
#define KINOLOT_BENCH_BENCH_LIBRARY_H_

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "kinolot/platform/vexo_db.h"
#include "kinolot/string_helpers.h"

namespace kinolot_bench {

using namespace LibKinolot;

// A plain connection for generating and removing the library; the rows it
// adds all belong to mapper rows above `base`, so one cascading delete
// removes them.
class Library {
 public:
  Library() : connection_(VEXODBConnect(nullptr, "admin", nullptr, "video_metadata")) {}
  ~Library() {
    if (connection_ == nullptr) return;
    if (generated_) Run("DELETE FROM mapper WHERE id > " + std::to_string(base_));
    VEXODBClose(connection_);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  bool Connected() const { return connection_ != nullptr; }

  // Adds about `items` videos: half movies, shows of 20 episodes making up
  // two fifths, the rest home videos and recordings; each with three actors
  // (one video in 50 has none), a director, a writer, a genre, a summary,
  // extra information and a file.
  bool Generate(long items) {
    if (!Scalar("SELECT COALESCE(max(id), 0) AS value FROM mapper", base_)) return false;
    generated_ = true;
    next_ = base_;
    const std::string b = std::to_string(base_);
    const long movies = items / 2, shows = items / 50, episodes = shows * 20, homes = items / 20,
               records = items / 20, names = items / 10 + 1;
    const std::string steps[] = {
        // Rows inserted with explicit ids leave a sequence behind its table;
        // move each one past its table's largest id before adding rows.
        SyncSequences(),
        // Mapper ids are given explicitly, one block per kind, so that rows
        // the sequence does not know of cannot collide with them.
        MapperBlock("movie", movies),
        MapperBlock("tvshow", shows),
        MapperBlock("tvshow_episode", episodes),
        MapperBlock("home_video", homes),
        MapperBlock("tv_record", records),
        "SELECT setval(pg_get_serial_sequence('mapper', 'id'), (SELECT max(id) FROM mapper))",
        "INSERT INTO movie(mapper_id, title, sort_title, tag_line, year, originally_available,"
        " isLock) SELECT id, 'Movie ' || id, 'Movie ' || lpad(id::text, 8, '0'), 'Tag ' || id,"
        " 1950 + id % 70, make_date(1950 + id % 70, 1 + id % 12, 1 + id % 28), id % 3 = 0"
        " FROM mapper WHERE id > " +
            b + " AND type = 'movie'",
        "INSERT INTO tvshow(mapper_id, title, sort_title, year) SELECT id, 'Show ' || id,"
        " 'Show ' || id, 1990 + id % 30 FROM mapper WHERE id > " +
            b + " AND type = 'tvshow'",
        "WITH e AS (SELECT id, row_number() OVER (ORDER BY id) - 1 AS n FROM mapper"
        " WHERE id > " +
            b +
            " AND type = 'tvshow_episode'),"
            " s AS (SELECT id, row_number() OVER (ORDER BY id) - 1 AS n FROM tvshow"
            " WHERE mapper_id > " +
            b +
            ")"
            " INSERT INTO tvshow_episode(mapper_id, tvshow_id, season, episode, tag_line, year)"
            " SELECT e.id, s.id, 1 + (e.n % 20) / 10, 1 + e.n % 10, 'Episode ' || e.n,"
            " 2000 + e.n % 20 FROM e JOIN s ON s.n = e.n / 20",
        "INSERT INTO home_video(mapper_id, title, sort_title, record_time) SELECT id,"
        " 'Home ' || id, 'Home ' || id, timestamp '2000-01-01' + id * interval '1 hour'"
        " FROM mapper WHERE id > " +
            b + " AND type = 'home_video'",
        "INSERT INTO tv_record(mapper_id, title, sort_title, record_time, channel_name) SELECT"
        " id, 'Record ' || id, 'Record ' || id, timestamp '2010-01-01' + id * interval '1 hour',"
        " 'Channel ' || id % 40 FROM mapper WHERE id > " +
            b + " AND type = 'tv_record'",
        "INSERT INTO actor(mapper_id, actor) SELECT m.id, 'Actor ' || (m.id * 7 + k * 13) % " +
            std::to_string(names) + " FROM mapper m, generate_series(0, 2) k WHERE m.id > " + b +
            " AND m.type <> 'tvshow' AND m.id % 50 <> 0",
        "INSERT INTO director(mapper_id, director) SELECT id, 'Director ' || id % 500 FROM mapper"
        " WHERE id > " +
            b + " AND type <> 'tvshow'",
        "INSERT INTO writer(mapper_id, writer) SELECT id, 'Writer ' || id % 700 FROM mapper"
        " WHERE id > " +
            b + " AND type <> 'tvshow'",
        "INSERT INTO gnere(mapper_id, gnere) SELECT id, 'Genre ' || id % 20 FROM mapper"
        " WHERE id > " +
            b + " AND type <> 'tvshow'",
        "INSERT INTO summary(mapper_id, summary) SELECT id, repeat('Summary text. ', 20) FROM"
        " mapper WHERE id > " +
            b,
        "INSERT INTO plus_info(mapper_id, plus_info) SELECT id, '{\"rating\":\"' || id % 10 ||"
        " '\"}' FROM mapper WHERE id > " +
            b,
        "INSERT INTO video_file(mapper_id, path, filesize, duration, resolutionX, resolutionY)"
        " SELECT id, '/bench/' || id || '.mkv', id * 1000000::bigint, id % 10000, 1920, 1080"
        " FROM mapper WHERE id > " +
            b + " AND type <> 'tvshow'",
        "ANALYZE",
    };
    for (const std::string& step : steps) {
      if (!Run(step)) return false;
    }
    return true;
  }

  // The id of the first generated row of `table` (episodes, movies), or 0.
  long First(const char* table) {
    long id = 0;
    Scalar(std::string("SELECT COALESCE(min(id), 0) AS value FROM ") + table +
               " WHERE mapper_id > " + std::to_string(base_),
           id);
    return id;
  }
  long MapperOf(const char* table, long id) {
    long mapper = 0;
    Scalar(std::string("SELECT mapper_id AS value FROM ") + table +
               " WHERE id = " + std::to_string(id),
           mapper);
    return mapper;
  }

 private:
  bool Run(const std::string& sql) {
    DBResult_tag* result = nullptr;
    int status = VEXODBExecute(connection_, sql.c_str(), &result);
    VEXODBFreeResult(result);
    if (status != 0)
      fprintf(stderr, "failed: %s\n  %s\n", sql.c_str(), VEXODBErrorGet(connection_));
    return status == 0;
  }

  static std::string SyncSequences() {
    std::string sql = "SELECT 1";
    for (const char* table :
         {"movie", "tvshow", "tvshow_episode", "home_video", "tv_record", "actor", "director",
          "writer", "gnere", "summary", "plus_info", "video_file"}) {
      sql += StringFormatSync(table);
    }
    return sql;
  }
  static std::string StringFormatSync(const std::string& table) {
    return ", setval(pg_get_serial_sequence('" + table +
           "', 'id'), (SELECT COALESCE(max(id), 0) + 1 FROM " + table + "), false)";
  }

  // Inserts `n` mapper rows of `type` with the ids that follow the last block.
  std::string MapperBlock(const char* type, long n) {
    std::string sql = "INSERT INTO mapper(id, type) SELECT " + std::to_string(next_) + " + g, '" +
                      type + "' FROM generate_series(1, " + std::to_string(n) + ") g";
    next_ += n;
    return sql;
  }

  // Reads the column "value" of the first row of `sql`.
  bool Scalar(const std::string& sql, long& value) {
    DBResult_tag* result = nullptr;
    unsigned int row = 0;
    bool ok =
        VEXODBExecute(connection_, sql.c_str(), &result) == 0 && VEXODBFetchRow(result, &row) == 0;
    if (ok)
      value =
          std::strtol(szValueCheck(VEXODBFetchField(result, row, "value")).c_str(), nullptr, 10);
    VEXODBFreeResult(result);
    return ok;
  }

  DBConnect_tag* connection_;
  long base_ = 0;
  long next_ = 0;
  bool generated_ = false;
};

// The benchmark's one optional argument, a count of files between 1 and
// `most`, else `fallback`; exits with a usage line when it is no such count.
inline long CountArgument(int argc, char** argv, long fallback, long most) {
  if (argc < 2) return fallback;
  char* end = nullptr;
  long count = strtol(argv[1], &end, 10);
  if (end == argv[1] || *end != '\0' || count < 1 || count > most) {
    fprintf(stderr, "usage: %s [number of files, default %ld]\n", argv[0], fallback);
    exit(2);
  }
  return count;
}

}  // namespace kinolot_bench

#endif  // KINOLOT_BENCH_BENCH_LIBRARY_H_
