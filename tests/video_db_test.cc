// The shared connection of the indexing interface and its simple queries,
// against the real server.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "kinolot/string_helpers.h"
#include "kinolot/video_db.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class VideoDbTest : public DatabaseTest {
 protected:
  void AddMovies(int count) {
    for (int i = 1; i <= count; ++i) {
      std::string n = std::to_string(i);
      Exec("INSERT INTO mapper(type) VALUES('movie')");
      Exec("INSERT INTO movie(mapper_id, title, year) VALUES(" + n + ", 'Movie " + n + "', " +
           std::to_string(2000 + i % 2) + ")");
    }
  }
  std::string Field(_VIDEO_DB_HANDLER_* handle, const char* column) {
    return szValueCheck(VEXODBFetchField(handle->result, handle->row, column));
  }
};

// Points libpq at a folder where no server listens, for the life of the object.
class NoServer {
 public:
  NoServer() : saved_(std::getenv("PGHOST") ? std::getenv("PGHOST") : "") {
    VideoDBConnClose();
    setenv("PGHOST", "/nonexistent-kinolot-socket-dir", 1);
  }
  ~NoServer() { setenv("PGHOST", saved_.c_str(), 1); }

 private:
  std::string saved_;
};

TEST_F(VideoDbTest, OpenWithoutClausesSelectsTheWholeTable) {
  AddMovies(3);
  _VIDEO_DB_HANDLER_* handle =
      VideoDBOpen(VIDEO_TABLE_MOVIE, nullptr, nullptr, nullptr, nullptr, 0, 0);
  ASSERT_NE(handle, nullptr);
  EXPECT_TRUE(Received("SELECT * FROM movie    "));
  EXPECT_EQ(handle->row_count, 3);
  VideoDBHandlerFree(handle);
}

TEST_F(VideoDbTest, OpenBuildsEveryClauseAndPagesTheRows) {
  AddMovies(6);
  _VIDEO_DB_HANDLER_* handle =
      VideoDBOpen(VIDEO_TABLE_MOVIE, "year, count(*) AS n", "id > 1", "year", "year DESC", 0, 1);
  ASSERT_NE(handle, nullptr);
  EXPECT_TRUE(
      Received("SELECT year, count(*) AS n FROM movie WHERE id > 1 GROUP BY year ORDER BY year "
               "DESC LIMIT 1"));
  ASSERT_EQ(handle->row_count, 1);
  ASSERT_EQ(VEXODBFetchRow(handle->result, &handle->row), 0);
  EXPECT_EQ(Field(handle, "year"), "2001");
  EXPECT_EQ(Field(handle, "n"), "2");
  VideoDBHandlerFree(handle);

  handle = VideoDBOpen(VIDEO_TABLE_MOVIE, "id", nullptr, nullptr, "id", 4, 10);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle->row_count, 2) << "rows 5 and 6 remain after an offset of 4";
  VideoDBHandlerFree(handle);

  // A condition longer than any statement buffer is not cut.
  std::string where = "id IN (1";
  for (int i = 2; i < 3000; ++i) where += "," + std::to_string(i);
  handle = VideoDBOpen(VIDEO_TABLE_MOVIE, "id", (where + ")").c_str(), nullptr, nullptr, 0, 0);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle->row_count, 6);
  VideoDBHandlerFree(handle);
}

TEST_F(VideoDbTest, BadOpensReturnNullAndLogWhy) {
  EXPECT_EQ(VideoDBOpenEX(nullptr, "id", nullptr, nullptr, nullptr, 0, 0), nullptr);
  EXPECT_TRUE(LoggedMatching(R"(video_db:\d+ Bad parameter: szFromTables)"));
  EXPECT_TRUE(Statements().empty());
  EXPECT_EQ(VideoDBOpenEX("no_such_table", "id", nullptr, nullptr, nullptr, 0, 0), nullptr);
  EXPECT_TRUE(LoggedMatching(
      R"(video_db:\d+ Failed to exec \[SELECT id FROM no_such_table    \] \(.*does not exist.*\))"));
  // An empty condition leaves a bare WHERE; an unknown table type names no table.
  EXPECT_EQ(VideoDBOpen(VIDEO_TABLE_MOVIE, nullptr, "", nullptr, nullptr, 0, 0), nullptr);
  EXPECT_TRUE(LoggedMatching(
      R"(video_db \(\d+\) Failed to exec \[SELECT \* FROM movie WHERE   \] \(.*syntax error.*\))"));
  EXPECT_EQ(VideoDBOpen(static_cast<_VIDEO_TABLE_TYPE_>(42), "id", nullptr, nullptr, nullptr, 0, 0),
            nullptr);
  EXPECT_TRUE(Received("SELECT id FROM invalid    "));
  // A statement that would lose the end of its condition is not run.
  MarkStatements();
  std::string columns = "id";
  while (columns.size() < 1100) columns += ", id";
  EXPECT_EQ(VideoDBOpenEX("movie", columns.c_str(), "id = 1 AND false", nullptr, nullptr, 0, 0),
            nullptr);
  EXPECT_TRUE(Statements().empty());
  EXPECT_TRUE(LoggedMatching(R"(video_db:\d+ Statement too long \[SELECT id, id.*)"));
}

TEST_F(VideoDbTest, OpenExSelectsFromAFreeTableList) {
  Exec("INSERT INTO mapper(type) VALUES('tvshow'), ('tvshow_episode')");
  Exec("INSERT INTO tvshow(mapper_id, title, year) VALUES(1, 'Show', 2010)");
  Exec("INSERT INTO tvshow_episode(mapper_id, tvshow_id, season, episode) VALUES(2, 1, 1, 3)");
  _VIDEO_DB_HANDLER_* handle =
      VideoDBOpenEX("tvshow,tvshow_episode", "tvshow.mapper_id, episode",
                    "tvshow_episode.tvshow_id = tvshow.id", nullptr, nullptr, 0, 0);
  ASSERT_NE(handle, nullptr);
  EXPECT_TRUE(
      Received("SELECT tvshow.mapper_id, episode FROM tvshow,tvshow_episode WHERE "
               "tvshow_episode.tvshow_id = tvshow.id  "));
  ASSERT_EQ(VEXODBFetchRow(handle->result, &handle->row), 0);
  EXPECT_EQ(Field(handle, "mapper_id"), "1");
  EXPECT_EQ(Field(handle, "episode"), "3");
  VideoDBHandlerFree(handle);
}

TEST_F(VideoDbTest, CountCountsRowsOrGroups) {
  AddMovies(5);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", nullptr, nullptr), 5);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", "year = 2001", nullptr), 3);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "year", nullptr, "year"), 2);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", "title = 'It''s'", nullptr), 0);
}

TEST_F(VideoDbTest, CountWithoutASelectListOrWithMoreThanOneExpressionRunsNothing) {
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "", nullptr, nullptr), -1);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, nullptr, "id = 1", nullptr), -1);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", "1=1; DELETE FROM mapper", nullptr), -1);
  EXPECT_TRUE(Statements().empty());
}

TEST_F(VideoDbTest, MapperIdExistenceAsksTheTableForTheId) {
  Exec("INSERT INTO mapper(type) VALUES('video_file')");
  Exec("INSERT INTO video_file(mapper_id, path) VALUES(1, '/v/a.mkv')");
  EXPECT_TRUE(IsMapperIdExistInTable(1, VIDEO_TABLE_VIDEO_FILE));
  EXPECT_TRUE(Received("SELECT id FROM video_file WHERE mapper_id = 1  "));
  EXPECT_FALSE(IsMapperIdExistInTable(42, VIDEO_TABLE_VIDEO_FILE));
  EXPECT_FALSE(IsMapperIdExistInTable(1, VIDEO_TABLE_MOVIE));
  EXPECT_FALSE(IsMapperIdExistInTable(1, static_cast<_VIDEO_TABLE_TYPE_>(99)))
      << "a failed count reads as absent";
}

TEST_F(VideoDbTest, VacuumRunsOnTheSharedConnectionOrFailsWithTwoLogLines) {
  EXPECT_EQ(VideoDBVacuum(), 0);
  EXPECT_TRUE(Received("VACUUM FULL ANALYZE"));
  EXPECT_TRUE(LogLines().empty());
  NoServer no_server;
  EXPECT_EQ(VideoDBVacuum(), -1);
  EXPECT_TRUE(LoggedMatching(R"(video_db:\d+ Failed to connect to database)"));
  EXPECT_TRUE(LoggedMatching(R"(video_db \(\d+\) Failed to exec \[VACUUM FULL ANALYZE\]\.)"));
}

TEST_F(VideoDbTest, TheSharedConnectionIsOpenedOnceClosedOnRequestAndRetriedAfterAFailure) {
  AddMovies(1);
  {
    NoServer no_server;
    EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", nullptr, nullptr), -1);
    EXPECT_EQ(VideoDBConnClose(), 0) << "nothing was opened";
  }
  VEXODBCountersReset();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(IsMapperIdExistInTable(1, VIDEO_TABLE_MOVIE));
  EXPECT_EQ(VEXODBCountersGet().connects + VEXODBCountersGet().reused, 1u)
      << "the failed connect is retried, once";
  EXPECT_EQ(VEXODBCountersGet().statements, 3u);
  EXPECT_EQ(VideoDBConnClose(), 0);
  EXPECT_EQ(VideoDBConnClose(), 0) << "a second close finds nothing to close";
  EXPECT_TRUE(IsMapperIdExistInTable(1, VIDEO_TABLE_MOVIE));
  EXPECT_EQ(VEXODBCountersGet().connects + VEXODBCountersGet().reused, 2u)
      << "the next call connects again";
}

}  // namespace
}  // namespace kinolot_test
