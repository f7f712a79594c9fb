// The database layer against the real server: the shared connection of the
// indexing interface and its simple queries; VideoDB's SQL text from its
// query builder and writes, what running them yields, its ownership of the
// connection, and how rows are decoded into _VIDEO_INFO_ALL_. VideoDB's
// collection queries are checked through the metadata API.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "kinolot/string_helpers.h"
#include "kinolot/video_db.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using VideoMetadataDbTest = DatabaseTest;
using Texts = std::vector<std::string>;

TEST_F(VideoMetadataDbTest, SelectJoinsFiltersOrdersAndPages) {
  const std::string alpha = AddMovie("alpha", 2001), beta = AddMovie("Beta", 2002);
  AddMovie("gamma", 2003);
  AddName("actor", alpha, "X");
  AddName("actor", beta, "X");
  AddName("actor", beta, "Y");
  Exec("INSERT INTO tvshow(mapper_id, title, year, sort_time) VALUES(" + AddMapper("tvshow") +
       ", 'late', 2005, '2005-01-01'), (" + AddMapper("tvshow") +
       ", 'early', 2005, '2004-01-01'), (" + AddMapper("tvshow") + ", 'old', 1999, '2010-01-01')");
  AddMapper("tvshow_episode");
  AddName("director", AddMapper("tvshow_episode"), "Dee");
  Exec("INSERT INTO tvshow_episode(mapper_id, tvshow_id, episode) VALUES(7, 1, 1), (8, 1, 2)");

  // Runs SelectDB on `db` with `args`; checks the rows found and the one statement sent.
  auto select = [&](VideoDB& db, int rows, const std::string& sent, auto... args) {
    MarkStatements();
    EXPECT_EQ(db.SelectDB(args...), rows) << sent;
    EXPECT_EQ(Statements(), Texts{sent});
  };
  // A join is added once; unknown tables and empty conditions add no text.
  VideoDB movies(nullptr, "movie");
  for (const char* table : {"mapper", "actor", "actor", "no_such_table", ""}) {
    movies.AddJoinTable(table);
  }
  movies.AddCondtion("actor.actor = 'X'");
  movies.AddCondtion("");
  select(movies, 2,
         "SELECT movie.id, title FROM movie LEFT JOIN mapper ON mapper.id=movie.mapper_id LEFT "
         "JOIN actor ON mapper.id=actor.mapper_id WHERE actor.actor = 'X'  ORDER BY UPPER(title) "
         "DESC LIMIT 10 ",
         "movie.id, title", "title", ORDER_DIRECTION_DESC, 0, 10, "");
  EXPECT_EQ(Listed(movies), (Texts{"Beta/", "alpha/"}));
  EXPECT_EQ(movies.SelectTotal(""), 2) << "a total keeps the object's joins and conditions";
  EXPECT_TRUE(
      Received("SELECT COUNT(DISTINCT movie.id) as total FROM movie LEFT JOIN mapper ON "
               "mapper.id=movie.mapper_id LEFT JOIN actor ON mapper.id=actor.mapper_id WHERE "
               "actor.actor = 'X' "));
  VideoDB plain(nullptr, "movie");
  select(plain, 2, "SELECT id FROM movie ORDER BY id ASC OFFSET 1 ", "id", "id",
         ORDER_DIRECTION_ASC, 1, 0, "");

  // The sort time sorts by year first, both in one direction.
  VideoDB shows(nullptr, "tvshow");
  select(shows, 3, "SELECT title FROM tvshow ORDER BY tvshow.year ASC, tvshow.sort_time ASC",
         "title", "tvshow.sort_time", ORDER_DIRECTION_ASC, 0, 0, "");
  EXPECT_EQ(Listed(shows), (Texts{"old/", "early/", "late/"}));
  // A show reaches the mapper, and through it the names, by its episodes.
  for (const char* table : {"tvshow_episode", "mapper", "director"}) shows.AddJoinTable(table);
  shows.AddCondtion("director = 'Dee'");
  select(shows, 1,
         "SELECT tvshow.id, episode FROM tvshow LEFT JOIN tvshow_episode ON "
         "tvshow.id=tvshow_episode.tvshow_id LEFT JOIN mapper ON "
         "mapper.id=tvshow_episode.mapper_id LEFT JOIN director ON mapper.id=director.mapper_id "
         "WHERE director = 'Dee'  GROUP BY tvshow.id, episode ",
         "tvshow.id, episode", "", ORDER_DIRECTION_ASC, 0, 0, "tvshow.id, episode");

  MarkStatements();
  EXPECT_EQ(plain.SelectDB("", "title", ORDER_DIRECTION_ASC, 0, 10, ""), -1);
  EXPECT_TRUE(Statements().empty()) << "an empty select list runs nothing";
}

TEST_F(VideoMetadataDbTest, TotalsAndTheUnknownTestCountUnderTheCurrentConditions) {
  for (int i = 1; i <= 4; ++i) AddMovie("m", 2000 + i % 2);
  VideoDB db(nullptr, "movie");
  db.AddCondtion("year = 2001");
  EXPECT_EQ(db.SelectTotal(""), 2);
  EXPECT_EQ(db.SelectTotal("id as total"), 1) << "the first row's total";
  EXPECT_EQ(db.SelectTotal("no_such_column as total"), -1);
  db.AddCondtion("year = 1900");
  EXPECT_EQ(db.SelectTotal(""), 0) << "usable after a failure; no row gives 0";

  // "Unknown" is a video without any name in the list.
  for (int i = 1; i <= 3; ++i) AddName("actor", std::to_string(i), "Ann");
  EXPECT_TRUE(db.CategoryHasUnknown("movie", "actor"));
  EXPECT_TRUE(Received("SELECT mapper_id FROM movie EXCEPT SELECT mapper_id FROM actor"));
  AddName("actor", "4", "Bob");
  EXPECT_FALSE(db.CategoryHasUnknown("movie", "actor"));
  EXPECT_FALSE(db.CategoryHasUnknown("movie", "no_such_table"));
  EXPECT_TRUE(LoggedLine("Search Unknown",
                         "SELECT mapper_id FROM movie EXCEPT SELECT mapper_id FROM no_such_table"));
}

TEST_F(VideoMetadataDbTest, TheObjectClosesItsConnectionWhoeverOpenedIt) {
  // Neither connection is closed here: the sanitizer build reports the one
  // an object left open as a leak, and one closed twice as a double free.
  DBConnect_tag* connection = VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
  ASSERT_NE(connection, nullptr);
  VEXODBCountersReset();
  {
    VideoDB given(connection, "movie");
    VideoDB own(nullptr, "");
    VEXODBCounters counters = VEXODBCountersGet();
    EXPECT_EQ(counters.connects + counters.reused, 1u) << "only the object without one connects";
    EXPECT_EQ(given.connection, connection);
    EXPECT_NE(own.connection, nullptr);
  }

  // Without a server every statement fails, and is logged.
  std::string saved = getenv("PGHOST") ? getenv("PGHOST") : "";
  setenv("PGHOST", "/nonexistent-kinolot-socket-dir", 1);
  VideoDB db(nullptr, "movie");
  setenv("PGHOST", saved.c_str(), 1);
  EXPECT_EQ(db.connection, nullptr);
  EXPECT_EQ(db.SelectDB("id", "", ORDER_DIRECTION_ASC, 0, 0, ""), -1);
  EXPECT_TRUE(LoggedLine("SQL", "SELECT id FROM movie"));
  EXPECT_FALSE(db.NextRow());
  EXPECT_EQ(db.FetchField("id"), "");
  EXPECT_EQ(db.SelectTotal(""), -1);
  EXPECT_EQ(db.InsertDB("(mapper_id) VALUES(1)"), -1);
  EXPECT_FALSE(db.CategoryHasUnknown("movie", "actor"));
}

// The columns of real rows are decoded in the metadata API's list tests;
// here the values those rows do not have.
TEST_F(VideoMetadataDbTest, DecodingIsLenientClearsAbsentColumnsAndKeepsToEachField) {
  Exec("INSERT INTO movie(mapper_id, title, year, isLock) VALUES(" + AddMapper("movie") +
       ", 'T', 2010, true)");
  VideoDB db(nullptr, "movie");
  _VIDEO_INFO_ALL_ item;
  std::memset(&item, 0x5A, sizeof(item));
  EXPECT_FALSE(db.FetchVideoItem(item)) << "no statement has run yet";
  db.AddJoinTable("mapper");
  ASSERT_EQ(db.SelectDB("*, movie.id as id, 'x1' as season, ' -7' as episode, NULL as summary", "",
                        ORDER_DIRECTION_ASC, 0, 0, ""),
            1);
  ASSERT_TRUE(db.NextRow());
  ASSERT_TRUE(db.FetchVideoItem(item));
  // NULL is empty; columns the query does not have are empty or 0, whatever
  // was there; season "x1" is 0 and episode " -7" keeps its sign.
  EXPECT_EQ((Texts{item.year, item.isLock, item.type, item.summary, item.path, item.extra}),
            (Texts{"2010", "t", "movie", "", "", ""}));
  EXPECT_NE(item.create_date[0], '\0');
  EXPECT_EQ((std::vector<long long>{item.id, item.season, item.episode, item.filesize,
                                    item.tvshow_id, item.collection_id}),
            (std::vector<long long>{1, 0, -7, 0, 0, 0}));
  EXPECT_FALSE(db.DBRecToData(nullptr, 0, &item));
  EXPECT_FALSE(db.DBRecToData(db.result, 0, nullptr));

  // Long texts are cut to their fields: 254 bytes of a title, a two-byte
  // letter left out whole where the cut would split it; numbers beyond 32
  // bits keep their low bits (ids) or stop at their bound (counts).
  std::string letters;
  for (int i = 0; i < 200; ++i) letters += "\xC3\xA9";
  ASSERT_EQ(db.SelectDB("'" + std::string(300, 'a') + "' as title, '" + letters +
                            "' as tag_line, '" + letters.substr(0, 10) +
                            "' as year, 99999999999 as id, 99999999999 as duration, "
                            "-99999999999 as season",
                        "", ORDER_DIRECTION_ASC, 0, 0, ""),
            1);
  ASSERT_TRUE(db.NextRow());
  ASSERT_TRUE(db.FetchVideoItem(item));
  EXPECT_EQ((Texts{item.title, item.tag_line, item.year}),
            (Texts{std::string(254, 'a'), letters.substr(0, 254), letters.substr(0, 8)}));
  EXPECT_EQ(item.id, static_cast<int32_t>(99999999999LL & 0xFFFFFFFF));
  EXPECT_EQ(item.duration, INT32_MAX);
  EXPECT_EQ(item.season, INT32_MIN);
  EXPECT_EQ(item.tvshow_id, 0) << "the field after a cut text is untouched";
}

TEST_F(VideoMetadataDbTest, InsertAndDeleteRunOnlyWholeStatements) {
  VideoDB db(nullptr, "collection");
  EXPECT_EQ(db.InsertDB(""), -1);
  EXPECT_FALSE(db.DeleteDB(""));
  // Texts too long for the statement buffer are refused, not cut short.
  EXPECT_EQ(db.InsertDB("(uid) VALUES(1) --" + std::string(3000, 'x')), -1);
  EXPECT_FALSE(db.DeleteDB("id = 1 OR id = 2" + std::string(2100, ' ') + "AND false"));
  EXPECT_TRUE(Statements().empty());

  Exec("INSERT INTO collection(uid, title) VALUES(1, 'first')");
  const std::string values = "(uid, title) VALUES(7, " + Quoted(kAwkward) + ")";
  EXPECT_EQ(db.InsertDB(values), 2) << "the new row's id";
  EXPECT_TRUE(Received("INSERT INTO collection" + values + " RETURNING id"));
  EXPECT_EQ(Value("SELECT title FROM collection WHERE id = 2"), kAwkward);
  EXPECT_TRUE(db.DeleteDB("id >= 2"));
  EXPECT_TRUE(Received("DELETE FROM collection WHERE id >= 2"));
  EXPECT_EQ(Count("collection"), 1);
  // Failed statements are logged whole.
  EXPECT_EQ(db.InsertDB("(uid) VALUES('x')"), -1);
  EXPECT_TRUE(LoggedLine("INSERT", "INSERT INTO collection(uid) VALUES('x') RETURNING id"));
  EXPECT_FALSE(db.DeleteDB("no_such_column = 1"));
  EXPECT_TRUE(LoggedLine("DELETE", "DELETE FROM collection WHERE no_such_column = 1"));
}

TEST_F(VideoMetadataDbTest, UpdateRendersEachColumnByItsKindAndRefusesWhatCouldEscape) {
  Exec("INSERT INTO movie(id, mapper_id, title, originally_available) VALUES(12, " +
       AddMapper("movie") + ", 'old', '2001-02-03')");
  VideoDB db(nullptr, "movie");
  const struct {
    std::map<std::string, std::string> fields;
    std::string sent;
  } cases[] = {
      {{{"sort_title", kAwkward}, {"year", ""}, {"originally_available", ""}},
       "UPDATE movie SET originally_available=NULL ,sort_title=" + Quoted(kAwkward) +
           " ,year=0 , modify_date = current_timestamp WHERE movie.id=12 "},
      {{{"isLock", ""},
        {"year", "2012x"},
        {"originally_available", "2012-03-04"},
        {"sort_time", "2012-03-04 05:06:07"}},
       "UPDATE movie SET isLock=true ,originally_available='2012-03-04' ,sort_time='2012-03-04 "
       "05:06:07' ,year=2012 , modify_date = current_timestamp WHERE movie.id=12 "},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(db.UpdateDB("12", c.fields)) << c.sent;
    EXPECT_TRUE(Received(c.sent)) << c.sent;
  }
  EXPECT_EQ(Query("SELECT sort_title, year, originally_available, isLock FROM movie"),
            (Rows{{kAwkward, "2012", "2012-03-04", "t"}}));
  ASSERT_TRUE(db.UpdateDBEx("mapper_id", "1", {{"isLock", "false"}, {"tag_line", ""}}));
  EXPECT_EQ(Query("SELECT isLock, tag_line FROM movie"), (Rows{{"f", ""}}));

  // Without an id nothing runs; a lock that is not a plain word and a date
  // that would close its quote can only be read as literals, which the
  // server refuses.
  MarkStatements();
  EXPECT_FALSE(db.UpdateDB("", {{"title", "x"}}));
  EXPECT_TRUE(Statements().empty());
  EXPECT_FALSE(db.UpdateDB("12", {{"isLock", "true, title=tag_line"}}));
  EXPECT_FALSE(db.UpdateDB("12", {{"sort_time", "2001-01-01'); DELETE FROM mapper; --"}}));
  EXPECT_EQ(Query("SELECT title, isLock FROM movie"), (Rows{{"old", "f"}}));
  EXPECT_EQ(Count("mapper"), 1);
  EXPECT_FALSE(db.UpdateDB("12", {}));
  EXPECT_TRUE(LoggedLine("UPDATE",
                         "UPDATE movie SET , modify_date = current_timestamp WHERE movie.id=12 "));
}

TEST_F(VideoMetadataDbTest, NameListsAreReplacedWholeForDecimalMapperIdsOnly) {
  const std::string mapper = AddMapper("movie");
  VideoDB db(nullptr, "actor");
  ASSERT_TRUE(db.InsertList(mapper, {"Ann", kAwkward}));
  EXPECT_EQ(Query("SELECT actor FROM actor ORDER BY id"), (Rows{{"Ann"}, {kAwkward}}));
  ASSERT_TRUE(db.DeleteList(mapper));
  EXPECT_EQ(Count("actor"), 0);
  // Mapper ids stand unquoted: anything but a decimal id runs nothing.
  MarkStatements();
  EXPECT_TRUE(db.InsertList(mapper, {}));
  EXPECT_FALSE(db.InsertList("", {"Ann"}));
  EXPECT_FALSE(db.InsertList("1); DELETE FROM mapper; --", {"Ann"}));
  EXPECT_FALSE(db.DeleteList("1 OR true"));
  EXPECT_TRUE(Statements().empty());
  EXPECT_FALSE(db.InsertList("42", {"Drama", "Comedy"})) << "no such mapper";
  EXPECT_TRUE(LoggedLine("INSERT", "INSERT INTO actor(actor, mapper_id) VALUES('Drama', 42)"));
  EXPECT_EQ(Statements().size(), 1u) << "stops at the first failure";
}

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
