// VideoDB's query builder and row decoding against the real server: the SQL
// text it assembles, what running it yields, its ownership of the connection
// and how rows are decoded into _VIDEO_INFO_ALL_.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kinolot/video_metadata_db.h"
#include "support/video_db_fixture.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using VideoMetadataDbTest = VideoDbTest;

// --- Building: the text that reaches the server --------------------------

TEST_F(VideoMetadataDbTest, NameFiltersFindVideosThroughTheMapperJoin) {
  std::string a = AddMovie("alpha", 2001);
  std::string b = AddMovie("Beta", 2002);
  AddMovie("gamma", 2003);
  AddName("actor", a, "X");
  AddName("actor", b, "X");
  AddName("actor", b, "Y");
  VideoDB db(nullptr, "movie");
  // A join is added once; unknown tables and empty conditions add no text.
  for (const char* table : {"mapper", "actor", "actor", "no_such_table", ""}) {
    db.AddJoinTable(table);
  }
  db.AddCondtion("actor.actor = 'X'");
  db.AddCondtion("");
  ASSERT_EQ(db.SelectDB("movie.id, title", "title", ORDER_DIRECTION_DESC, 0, 10, ""), 2);
  EXPECT_TRUE(
      Received("SELECT movie.id, title FROM movie LEFT JOIN mapper ON mapper.id=movie.mapper_id "
               "LEFT JOIN actor ON mapper.id=actor.mapper_id WHERE actor.actor = 'X'  ORDER BY "
               "UPPER(title) DESC LIMIT 10 "));
  EXPECT_EQ(Listed(db), (std::vector<std::string>{"Beta/", "alpha/"}))
      << "upper-cased ordering puts Beta before alpha";

  // A second statement on the same object keeps its joins and conditions.
  EXPECT_EQ(db.SelectTotal(""), 2);
  EXPECT_TRUE(
      Received("SELECT COUNT(DISTINCT movie.id) as total FROM movie LEFT JOIN mapper ON "
               "mapper.id=movie.mapper_id LEFT JOIN actor ON mapper.id=actor.mapper_id WHERE "
               "actor.actor = 'X' "));
}

TEST_F(VideoMetadataDbTest, SortTimeOrdersByYearFirstInOneDirection) {
  Exec("INSERT INTO mapper(type) VALUES('tvshow'), ('tvshow'), ('tvshow')");
  Exec(
      "INSERT INTO tvshow(mapper_id, title, year, sort_time) VALUES"
      "(1, 'late', 2005, '2005-01-01'), (2, 'early', 2005, '2004-01-01'), "
      "(3, 'old', 1999, '2010-01-01')");
  VideoDB db(nullptr, "tvshow");
  ASSERT_EQ(db.SelectDB("title", "tvshow.sort_time", ORDER_DIRECTION_ASC, 0, 0, ""), 3);
  EXPECT_TRUE(Received("SELECT title FROM tvshow ORDER BY tvshow.year ASC, tvshow.sort_time ASC"));
  EXPECT_EQ(Listed(db), (std::vector<std::string>{"old/", "early/", "late/"}));
}

TEST_F(VideoMetadataDbTest, ShowQueriesReachMapperAndNamesThroughTheirEpisodes) {
  Exec("INSERT INTO mapper(type) VALUES('tvshow'), ('tvshow_episode'), ('tvshow_episode')");
  Exec("INSERT INTO tvshow(mapper_id, title) VALUES(1, 'Show')");
  Exec("INSERT INTO tvshow_episode(mapper_id, tvshow_id, episode) VALUES(2, 1, 1), (3, 1, 2)");
  AddName("director", "3", "Dee");
  VideoDB db(nullptr, "tvshow");
  db.AddJoinTable("tvshow_episode");
  db.AddJoinTable("mapper");
  db.AddJoinTable("director");
  db.AddCondtion("director = 'Dee'");
  ASSERT_EQ(db.SelectDB("tvshow.id, episode", "", ORDER_DIRECTION_ASC, 0, 0, "tvshow.id, episode"),
            1);
  EXPECT_TRUE(
      Received("SELECT tvshow.id, episode FROM tvshow LEFT JOIN tvshow_episode ON "
               "tvshow.id=tvshow_episode.tvshow_id LEFT JOIN mapper ON "
               "mapper.id=tvshow_episode.mapper_id LEFT JOIN director ON "
               "mapper.id=director.mapper_id WHERE director = 'Dee'  GROUP BY tvshow.id, "
               "episode "));
  ASSERT_TRUE(db.NextRow());
  EXPECT_EQ(db.FetchField("episode"), "2");
}

TEST_F(VideoMetadataDbTest, EveryKnownTableHasItsJoin) {
  VideoDB db(nullptr, "tvshow_episode");
  for (const char* table : {"summary", "plus_info", "tvshow", "gnere", "writer", "video_file",
                            "collection", "mapper"}) {
    db.AddJoinTable(table);
  }
  EXPECT_EQ(db.SelectDB("tvshow_episode.id", "", ORDER_DIRECTION_ASC, 0, 0, ""), -1)
      << "summary and plus_info compare an unqualified mapper_id";
  EXPECT_TRUE(
      Received("SELECT tvshow_episode.id FROM tvshow_episode"
               " LEFT JOIN summary ON mapper_id=summary.mapper_id"
               " LEFT JOIN plus_info ON mapper_id=plus_info.mapper_id"
               " LEFT JOIN tvshow ON tvshow.id=tvshow_episode.tvshow_id"
               " LEFT JOIN gnere ON mapper.id=gnere.mapper_id"
               " LEFT JOIN writer ON mapper.id=writer.mapper_id"
               " LEFT JOIN video_file ON mapper.id=video_file.mapper_id"
               " LEFT JOIN collection ON collection_id=collection.id"
               " LEFT JOIN mapper ON mapper.id=tvshow_episode.mapper_id"));
}

TEST_F(VideoMetadataDbTest, OffsetAndLimitAppearOnlyWhenSet) {
  for (int i = 1; i <= 5; ++i) AddMovie("m", 2000 + i);
  VideoDB db(nullptr, "movie");
  EXPECT_EQ(db.SelectDB("id", "id", ORDER_DIRECTION_ASC, 3, 0, ""), 2);
  EXPECT_TRUE(Received("SELECT id FROM movie ORDER BY id ASC OFFSET 3 "));
  EXPECT_EQ(db.SelectDB("id", "", ORDER_DIRECTION_ASC, 0, 0, ""), 5);
  EXPECT_TRUE(Received("SELECT id FROM movie"));
  MarkStatements();
  EXPECT_EQ(db.SelectDB("", "title", ORDER_DIRECTION_ASC, 0, 10, ""), -1);
  EXPECT_TRUE(Statements().empty()) << "an empty select list runs nothing";
}

// --- Running: totals, the unknown test, the connection -------------------

TEST_F(VideoMetadataDbTest, TotalsCountUnderTheCurrentConditions) {
  for (int i = 1; i <= 4; ++i) AddMovie("m", 2000 + i % 2);
  VideoDB db(nullptr, "movie");
  db.AddCondtion("year = 2001");
  EXPECT_EQ(db.SelectTotal(""), 2);
  EXPECT_EQ(db.SelectTotal("id as total"), 1) << "the first row's total";
  db.AddCondtion("year = 1900");
  EXPECT_EQ(db.SelectTotal("id as total"), 0) << "no row gives 0";
  EXPECT_EQ(db.SelectTotal("no_such_column as total"), -1);
  EXPECT_EQ(db.SelectTotal(""), 0) << "usable after a failure";
}

TEST_F(VideoMetadataDbTest, UnknownMeansAVideoWithoutAnyNameInTheList) {
  std::string a = AddMovie("a", 2001);
  std::string b = AddMovie("b", 2001);
  AddName("actor", a, "Ann");
  VideoDB db(nullptr, "movie");
  EXPECT_TRUE(db.CategoryHasUnknown("movie", "actor"));
  EXPECT_TRUE(Received("SELECT mapper_id FROM movie EXCEPT SELECT mapper_id FROM actor"));
  AddName("actor", b, "Bob");
  EXPECT_FALSE(db.CategoryHasUnknown("movie", "actor"));
  EXPECT_FALSE(db.CategoryHasUnknown("", "actor"));
  EXPECT_FALSE(db.CategoryHasUnknown("movie", ""));
  EXPECT_FALSE(db.CategoryHasUnknown("movie", "no_such_table"));
  EXPECT_TRUE(LoggedLine("Search Unknown",
                         "SELECT mapper_id FROM movie EXCEPT SELECT mapper_id FROM no_such_table"));
}

// The server-side id of a connection's backend, to watch it go away.
std::string BackendPid(DBConnect_tag* connection) {
  DBResult_tag* result = nullptr;
  unsigned int row = 0;
  std::string pid;
  if (VEXODBExecute(connection, "SELECT pg_backend_pid() AS pid", &result) == 0 &&
      VEXODBFetchRow(result, &row) == 0) {
    pid = VEXODBFetchField(result, row, "pid");
  }
  VEXODBFreeResult(result);
  return pid;
}

TEST_F(VideoMetadataDbTest, TheObjectClosesItsConnectionWhoeverOpenedIt) {
  struct NoReuse {  // closing ends the session only when connections are not reused
    NoReuse() { setenv("KINOLOT_DB_REUSE", "0", 1); }
    ~NoReuse() { unsetenv("KINOLOT_DB_REUSE"); }
  } no_reuse;
  auto backends = [this](const std::string& pid) {
    return Value("SELECT count(*) FROM pg_stat_activity WHERE pid = " + pid);
  };
  auto gone = [&](const std::string& pid) {
    for (int i = 0; i < 100 && backends(pid) != "0"; ++i) usleep(50 * 1000);
    return backends(pid) == "0";
  };
  DBConnect_tag* connection = VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
  ASSERT_NE(connection, nullptr);
  std::string handed = BackendPid(connection);
  VEXODBCountersReset();
  auto given = std::make_unique<VideoDB>(connection, "movie");
  auto own = std::make_unique<VideoDB>(nullptr, "");
  EXPECT_EQ(VEXODBCountersGet().connects, 1u) << "only the object without one connects";
  EXPECT_EQ(given->connection, connection);
  std::string opened = BackendPid(own->connection);
  ASSERT_FALSE(opened.empty());
  EXPECT_EQ(backends(handed), "1");
  given.reset();
  own.reset();
  EXPECT_TRUE(gone(handed));
  EXPECT_TRUE(gone(opened));
}

TEST_F(VideoMetadataDbTest, WithoutAServerEveryStatementFails) {
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

// --- Decoding ------------------------------------------------------------

// The columns of real rows, file columns among them, are decoded in the
// metadata API's list tests; here the values those rows do not have.
TEST_F(VideoMetadataDbTest, ColumnsDecodeLenientlyAndAbsentOnesAreCleared) {
  Exec("INSERT INTO mapper(type) VALUES('movie')");
  Exec("INSERT INTO movie(mapper_id, title, year, isLock) VALUES(1, 'T', 2010, true)");
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
  EXPECT_EQ((std::vector<std::string>{item.year, item.isLock, item.type, item.summary, item.path,
                                      item.channel_name, item.extra}),
            (std::vector<std::string>{"2010", "t", "movie", "", "", "", ""}));
  EXPECT_FALSE(std::string(item.create_date).empty());
  EXPECT_EQ((std::vector<long long>{item.id, item.season, item.episode, item.filesize,
                                    item.tvshow_id, item.collection_id}),
            (std::vector<long long>{1, 0, -7, 0, 0, 0}));
  EXPECT_FALSE(db.DBRecToData(nullptr, 0, &item));
  EXPECT_FALSE(db.DBRecToData(db.result, 0, nullptr));
}

TEST_F(VideoMetadataDbTest, LongTextsAreCutToTheirFields) {
  std::string ascii(300, 'a');
  // Two-byte letters: the cut at 254 bytes falls between two letters, the
  // cut at 9 bytes of the year field inside one.
  std::string letters;
  for (int i = 0; i < 200; ++i) letters += "\xC3\xA9";
  AddMovie(ascii, 2001);
  VideoDB db(nullptr, "movie");
  ASSERT_EQ(db.SelectDB("title, '" + letters + "' as tag_line, '" + letters.substr(0, 10) +
                            "' as year, 99999999999 as id, 99999999999 as duration, "
                            "-99999999999 as season",
                        "", ORDER_DIRECTION_ASC, 0, 0, ""),
            1);
  ASSERT_TRUE(db.NextRow());
  _VIDEO_INFO_ALL_ item;
  ASSERT_TRUE(db.FetchVideoItem(item));
  EXPECT_EQ(std::string(item.title), ascii.substr(0, 254));
  EXPECT_EQ(std::string(item.tag_line), letters.substr(0, 254));
  EXPECT_EQ(std::string(item.year), letters.substr(0, 8))
      << "a letter cut in two is left out whole";
  EXPECT_EQ(item.id, static_cast<int32_t>(99999999999LL & 0xFFFFFFFF)) << "low 32 bits";
  EXPECT_EQ(item.duration, INT32_MAX) << "counts stop at their bound";
  EXPECT_EQ(item.season, INT32_MIN);
  EXPECT_EQ(item.tvshow_id, 0) << "the field after a cut text is untouched";
}

}  // namespace
}  // namespace kinolot_test
