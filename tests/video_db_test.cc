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

class IndexQueryTest : public DatabaseTest {
 protected:
  // Movies 1..count, titled "Movie <n>", of the years 2001 (odd n) and 2000.
  void AddMovies(int count) {
    for (int i = 1; i <= count; ++i) AddMovie("Movie " + std::to_string(i), 2000 + i % 2);
  }
};

TEST_F(IndexQueryTest, OpenSendsEveryClauseGivenAndPagesTheRows) {
  AddMovies(6);
  std::string many = "id IN (1";  // longer than any statement buffer, and not cut
  for (int i = 2; i < 3000; ++i) many += "," + std::to_string(i);
  many += ")";
  const struct {
    const char *select, *where, *group, *order;
    int offset, limit;
    std::string sent;
    int rows;
  } cases[] = {
      {nullptr, nullptr, nullptr, nullptr, 0, 0, "SELECT * FROM movie    ", 6},
      {"year, count(*) AS n", "id > 1", "year", "year DESC", 0, 1,
       "SELECT year, count(*) AS n FROM movie WHERE id > 1 GROUP BY year ORDER BY year DESC "
       "LIMIT 1",
       1},
      {"id", nullptr, nullptr, "id", 4, 10, "SELECT id FROM movie    ORDER BY id LIMIT 10 OFFSET 4",
       2},
      {"id", nullptr, nullptr, nullptr, 3, -1, "SELECT id FROM movie     OFFSET 3", 3},
      {"id", many.c_str(), nullptr, nullptr, 0, 0, "", 6},
  };
  for (const auto& c : cases) {
    MarkStatements();
    _VIDEO_DB_HANDLER_* handle =
        VideoDBOpen(VIDEO_TABLE_MOVIE, c.select, c.where, c.group, c.order, c.offset, c.limit);
    ASSERT_NE(handle, nullptr) << c.sent;
    EXPECT_EQ(handle->row_count, c.rows) << c.sent;
    if (!c.sent.empty()) {
      EXPECT_EQ(Statements(), std::vector<std::string>{c.sent});
    }
    if (c.group) {
      ASSERT_EQ(VEXODBFetchRow(handle->result, &handle->row), 0);
      EXPECT_EQ(szValueCheck(VEXODBFetchField(handle->result, handle->row, "n")), "2");
    }
    VideoDBHandlerFree(handle);
  }
}

TEST_F(IndexQueryTest, BadOpensReturnNullAndLogWhy) {
  EXPECT_EQ(VideoDBOpenEX(nullptr, "id", nullptr, nullptr, nullptr, 0, 0), nullptr);
  EXPECT_TRUE(LoggedMatching(R"(video_db:\d+ Bad parameter: szFromTables)"));
  EXPECT_TRUE(Statements().empty());
  // Each flavour logs a failed statement in its own form.
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

TEST_F(IndexQueryTest, CountAndExistenceRunOneCheckedExpression) {
  AddMovies(5);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", nullptr, nullptr), 5);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", "year = 2001", nullptr), 3);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "year", nullptr, "year"), 2) << "groups";
  EXPECT_TRUE(IsMapperIdExistInTable(1, VIDEO_TABLE_MOVIE));
  EXPECT_TRUE(Received("SELECT id FROM movie WHERE mapper_id = 1  "));
  EXPECT_FALSE(IsMapperIdExistInTable(42, VIDEO_TABLE_MOVIE));
  EXPECT_FALSE(IsMapperIdExistInTable(1, static_cast<_VIDEO_TABLE_TYPE_>(99)))
      << "a failed count reads as absent";
  MarkStatements();
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "", nullptr, nullptr), -1);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, nullptr, "id = 1", nullptr), -1);
  EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", "1=1; DELETE FROM mapper", nullptr), -1);
  EXPECT_TRUE(Statements().empty());
}

TEST_F(IndexQueryTest, TheSharedConnectionIsOpenedOnceClosedOnRequestAndRetriedAfterAFailure) {
  AddMovies(1);
  VEXODBCountersReset();
  EXPECT_EQ(VideoDBVacuum(), 0);
  EXPECT_TRUE(Received("VACUUM FULL ANALYZE"));
  // libpq pointed at a folder where no server listens.
  VideoDBConnClose();
  const std::string saved = std::getenv("PGHOST") ? std::getenv("PGHOST") : "";
  setenv("PGHOST", "/nonexistent-kinolot-socket-dir", 1);
  EXPECT_EQ(VideoDBVacuum(), -1);
  EXPECT_TRUE(LoggedMatching(R"(video_db \(\d+\) Failed to exec \[VACUUM FULL ANALYZE\]\.)"));
  EXPECT_EQ(VideoDBConnClose(), 0) << "nothing was opened";
  setenv("PGHOST", saved.c_str(), 1);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(IsMapperIdExistInTable(1, VIDEO_TABLE_MOVIE));
  VEXODBCounters counters = VEXODBCountersGet();
  EXPECT_EQ(counters.connects + counters.reused, 2u) << "the failed connect is retried, once";
  EXPECT_EQ(counters.statements, 4u);
  EXPECT_EQ(VideoDBConnClose(), 0);
  EXPECT_EQ(VideoDBConnClose(), 0) << "a second close finds nothing to close";
}

}  // namespace
}  // namespace kinolot_test
