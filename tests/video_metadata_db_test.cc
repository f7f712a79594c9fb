// VideoDB's query builder and row decoding against the real server: the SQL
// text it assembles, what running it yields, its ownership of the connection
// and how rows are decoded into _VIDEO_INFO_ALL_.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

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

  const struct {
    std::string table;
    Texts joins, conditions;
    std::string select, order;
    _ORDER_DIRECTION_ direction;
    unsigned long offset, limit;
    std::string group, sent;
    int rows;
    Texts listed;
  } cases[] = {
      // A join is added once; unknown tables and empty conditions add no text.
      {"movie",
       {"mapper", "actor", "actor", "no_such_table", ""},
       {"actor.actor = 'X'", ""},
       "movie.id, title",
       "title",
       ORDER_DIRECTION_DESC,
       0,
       10,
       "",
       "SELECT movie.id, title FROM movie LEFT JOIN mapper ON mapper.id=movie.mapper_id LEFT JOIN "
       "actor ON mapper.id=actor.mapper_id WHERE actor.actor = 'X'  ORDER BY UPPER(title) DESC "
       "LIMIT 10 ",
       2,
       {"Beta/", "alpha/"}},
      {"movie",
       {},
       {},
       "id",
       "id",
       ORDER_DIRECTION_ASC,
       1,
       0,
       "",
       "SELECT id FROM movie ORDER BY id ASC OFFSET 1 ",
       2,
       {}},
      {"movie", {}, {}, "id", "", ORDER_DIRECTION_ASC, 0, 0, "", "SELECT id FROM movie", 3, {}},
      // The sort time sorts by year first, both in one direction.
      {"tvshow",
       {},
       {},
       "title",
       "tvshow.sort_time",
       ORDER_DIRECTION_ASC,
       0,
       0,
       "",
       "SELECT title FROM tvshow ORDER BY tvshow.year ASC, tvshow.sort_time ASC",
       3,
       {"old/", "early/", "late/"}},
      // A show reaches the mapper, and through it the names, by its episodes.
      {"tvshow",
       {"tvshow_episode", "mapper", "director"},
       {"director = 'Dee'"},
       "tvshow.id, episode",
       "",
       ORDER_DIRECTION_ASC,
       0,
       0,
       "tvshow.id, episode",
       "SELECT tvshow.id, episode FROM tvshow LEFT JOIN tvshow_episode ON "
       "tvshow.id=tvshow_episode.tvshow_id LEFT JOIN mapper ON mapper.id=tvshow_episode.mapper_id "
       "LEFT JOIN director ON mapper.id=director.mapper_id WHERE director = 'Dee'  GROUP BY "
       "tvshow.id, episode ",
       1,
       {}},
      // Every known join; summary and plus_info compare an unqualified
      // mapper_id, which the server refuses.
      {"tvshow_episode",
       {"summary", "plus_info", "tvshow", "gnere", "writer", "video_file", "collection", "mapper"},
       {},
       "tvshow_episode.id",
       "",
       ORDER_DIRECTION_ASC,
       0,
       0,
       "",
       "SELECT tvshow_episode.id FROM tvshow_episode LEFT JOIN summary ON "
       "mapper_id=summary.mapper_id LEFT JOIN plus_info ON mapper_id=plus_info.mapper_id LEFT JOIN "
       "tvshow ON tvshow.id=tvshow_episode.tvshow_id LEFT JOIN gnere ON mapper.id=gnere.mapper_id "
       "LEFT JOIN writer ON mapper.id=writer.mapper_id LEFT JOIN video_file ON "
       "mapper.id=video_file.mapper_id LEFT JOIN collection ON collection_id=collection.id LEFT "
       "JOIN mapper ON mapper.id=tvshow_episode.mapper_id",
       -1,
       {}},
  };
  for (const auto& c : cases) {
    VideoDB db(nullptr, c.table);
    for (const std::string& join : c.joins) db.AddJoinTable(join);
    for (const std::string& condition : c.conditions) db.AddCondtion(condition);
    MarkStatements();
    EXPECT_EQ(db.SelectDB(c.select, c.order, c.direction, c.offset, c.limit, c.group), c.rows)
        << c.sent;
    EXPECT_EQ(Statements(), Texts{c.sent});
    if (!c.listed.empty()) {
      EXPECT_EQ(Listed(db), c.listed) << c.sent;
    }
    if (&c == &cases[0]) {  // a total keeps the object's joins and conditions
      EXPECT_EQ(db.SelectTotal(""), 2);
      EXPECT_TRUE(
          Received("SELECT COUNT(DISTINCT movie.id) as total FROM movie LEFT JOIN mapper ON "
                   "mapper.id=movie.mapper_id LEFT JOIN actor ON mapper.id=actor.mapper_id WHERE "
                   "actor.actor = 'X' "));
    }
  }
  MarkStatements();
  VideoDB db(nullptr, "movie");
  EXPECT_EQ(db.SelectDB("", "title", ORDER_DIRECTION_ASC, 0, 10, ""), -1);
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
  EXPECT_FALSE(db.CategoryHasUnknown("", "actor"));
  EXPECT_FALSE(db.CategoryHasUnknown("movie", ""));
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
    EXPECT_EQ(VEXODBCountersGet().connects, 1u) << "only the object without one connects";
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

}  // namespace
}  // namespace kinolot_test
