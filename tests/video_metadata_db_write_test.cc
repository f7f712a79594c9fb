// VideoDB's writes and collection queries against the real server: the
// statements they send, that caller texts survive them unchanged, and the
// rows that the collection unions list and find.
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "kinolot/platform/vexo_db.h"
#include "kinolot/video_metadata_db.h"
#include "support/video_db_fixture.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using VideoMetadataDbWriteTest = VideoDbTest;

// A formatter-built value, as callers make them.
std::string Formatted(const char* format, const char* text) {
  char* made = VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, text);
  std::string out = made ? made : "";
  free(made);
  return out;
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// --- Writing -------------------------------------------------------------

TEST_F(VideoMetadataDbWriteTest, InsertReturnsTheNewIdAndKeepsTextsWhole) {
  VideoDB db(nullptr, "collection");
  EXPECT_EQ(db.InsertDB(""), -1);
  EXPECT_TRUE(Statements().empty());
  Exec("INSERT INTO collection(uid, title) VALUES(1, 'first')");
  std::string values = Formatted("(uid, title) VALUES(7, '@VEXO:VAR')", kAwkward);
  EXPECT_EQ(db.InsertDB(values), 2);
  EXPECT_TRUE(Received("INSERT INTO collection" + values + " RETURNING id"));
  EXPECT_EQ(Value("SELECT title FROM collection WHERE id = 2"), kAwkward);

  VideoDB map(nullptr, "collection_map");
  EXPECT_EQ(map.InsertDB("(mapper_id, collection_id) VALUES(99, 2)"), -1) << "no such mapper";
  EXPECT_TRUE(LoggedLine(
      "INSERT", "INSERT INTO collection_map(mapper_id, collection_id) VALUES(99, 2) RETURNING id"));
  // A text longer than the statement buffer is not run cut short.
  MarkStatements();
  EXPECT_EQ(map.InsertDB("(mapper_id) VALUES(1) --" + std::string(3000, 'x')), -1);
  EXPECT_TRUE(Statements().empty());
}

TEST_F(VideoMetadataDbWriteTest, DeleteNeedsAConditionAndRemovesOnlyItsRows) {
  for (int i = 0; i < 3; ++i) AddMapper("movie");
  VideoDB db(nullptr, "mapper");
  EXPECT_FALSE(db.DeleteDB(""));
  EXPECT_TRUE(Statements().empty());
  EXPECT_TRUE(db.DeleteDB("id >= 2"));
  EXPECT_TRUE(Received("DELETE FROM mapper WHERE id >= 2"));
  EXPECT_EQ(Count("mapper"), 1);
  EXPECT_FALSE(db.DeleteDB("no_such_column = 1"));
  EXPECT_TRUE(LoggedLine("DELETE", "DELETE FROM mapper WHERE no_such_column = 1"));
  // A condition too long for the statement buffer is refused, not cut.
  MarkStatements();
  EXPECT_FALSE(db.DeleteDB("id = 1 OR id = 2" + std::string(2100, ' ') + "AND false"));
  EXPECT_TRUE(Statements().empty());
  EXPECT_EQ(Count("mapper"), 1);
}

TEST_F(VideoMetadataDbWriteTest, UpdateRendersEachColumnByItsKind) {
  std::string mapper = AddMapper("movie");
  Exec("INSERT INTO movie(id, mapper_id, title, originally_available) VALUES(12, " + mapper +
       ", 'old', '2001-02-03')");
  VideoDB db(nullptr, "movie");
  ASSERT_TRUE(
      db.UpdateDB("12", {{"sort_title", "The X"}, {"year", ""}, {"originally_available", ""}}));
  EXPECT_TRUE(
      Received("UPDATE movie SET originally_available=NULL ,sort_title='The X' ,year=0 , "
               "modify_date = current_timestamp WHERE movie.id=12 "));
  EXPECT_EQ(Query("SELECT sort_title, year, originally_available FROM movie"),
            (Rows{{"The X", "0", kNull}}));

  ASSERT_TRUE(db.UpdateDB("12", {{"isLock", ""},
                                 {"year", "2012x"},
                                 {"originally_available", "2012-03-04"},
                                 {"sort_time", "2012-03-04 05:06:07"}}));
  EXPECT_TRUE(
      Received("UPDATE movie SET isLock=true ,originally_available='2012-03-04' "
               ",sort_time='2012-03-04 05:06:07' ,year=2012 , modify_date = current_timestamp "
               "WHERE movie.id=12 "));
  ASSERT_TRUE(db.UpdateDB("12", {{"isLock", "false"}}));
  EXPECT_TRUE(Received(
      "UPDATE movie SET isLock=false , modify_date = current_timestamp WHERE movie.id=12 "));
}

TEST_F(VideoMetadataDbWriteTest, UpdatedTextsReadBackUnchangedAndBadUpdatesFail) {
  std::string mapper = AddMapper("tv_record");
  Exec("INSERT INTO tv_record(mapper_id) VALUES(" + mapper + ")");
  VideoDB db(nullptr, "tv_record");
  EXPECT_FALSE(db.UpdateDB("", {{"title", "x"}}));
  EXPECT_TRUE(Statements().empty());
  ASSERT_TRUE(db.UpdateDBEx("mapper_id", mapper, {{"title", kAwkward}, {"channel_name", ""}}));
  EXPECT_EQ(Query("SELECT title, channel_name FROM tv_record"), (Rows{{kAwkward, ""}}));
  // A lock value that is not a plain word can only be read as a literal.
  EXPECT_FALSE(db.UpdateDB("1", {{"isLock", "true, channel_name=title"}}));
  EXPECT_FALSE(db.UpdateDB("1", {{"record_time", "2001-01-01'); DELETE FROM mapper; --"}}));
  EXPECT_EQ(Query("SELECT title, channel_name, isLock FROM tv_record"),
            (Rows{{kAwkward, "", "f"}}));
  EXPECT_EQ(Count("mapper"), 1);
  // An update without fields is refused by the database, and logged.
  EXPECT_FALSE(db.UpdateDB("1", {}));
  EXPECT_TRUE(LoggedLine("UPDATE",
                         "UPDATE tv_record SET , modify_date = current_timestamp WHERE "
                         "tv_record.id=1 "));
}

TEST_F(VideoMetadataDbWriteTest, NameListsAreReplacedWhole) {
  std::string mapper = AddMapper("movie");
  VideoDB db(nullptr, "actor");
  ASSERT_TRUE(db.InsertList(mapper, {"Ann", kAwkward}));
  EXPECT_TRUE(Received("INSERT INTO actor(actor, mapper_id) VALUES('Ann', " + mapper + ")"));
  EXPECT_EQ(Query("SELECT actor FROM actor ORDER BY id"), (Rows{{"Ann"}, {kAwkward}}));
  ASSERT_TRUE(db.DeleteList(mapper));
  EXPECT_TRUE(Received("DELETE FROM actor WHERE mapper_id = " + mapper));
  EXPECT_EQ(Count("actor"), 0);
  MarkStatements();
  EXPECT_TRUE(db.InsertList(mapper, {}));
  // Mapper ids stand unquoted: anything but a decimal id runs nothing.
  EXPECT_FALSE(db.InsertList("", {"Ann"}));
  EXPECT_FALSE(db.DeleteList(""));
  EXPECT_FALSE(db.InsertList("1); DELETE FROM mapper; --", {"Ann"}));
  EXPECT_FALSE(db.DeleteList("1 OR true"));
  EXPECT_TRUE(Statements().empty());
  EXPECT_FALSE(db.InsertList("42", {"Drama", "Comedy"})) << "no such mapper";
  EXPECT_TRUE(LoggedLine("INSERT", "INSERT INTO actor(actor, mapper_id) VALUES('Drama', 42)"));
  EXPECT_FALSE(Received("INSERT INTO actor(actor, mapper_id) VALUES('Comedy', 42)"))
      << "stops at the first failure";
  EXPECT_EQ(Count("mapper"), 1);
}

// --- Collections ---------------------------------------------------------

class VideoMetadataDbCollectionTest : public VideoDbTest {
 protected:
  void SetUp() override {
    VideoDbTest::SetUp();
    Exec("INSERT INTO collection(uid, title) VALUES(1, 'mine'), (1, 'other')");
  }
  std::string AddHomeVideo(const std::string& title, const std::string& recordTime) {
    std::string mapper = AddMapper("home_video");
    Exec("INSERT INTO home_video(mapper_id, title, sort_title, record_time) VALUES(" + mapper +
         ", '" + title + "', '" + title + "', '" + recordTime + "')");
    return mapper;
  }
  // Adds a show with one episode and returns the episode's mapper id.
  std::string AddEpisode(const std::string& show, int year) {
    std::string showId =
        Value("INSERT INTO tvshow(mapper_id, title, sort_title) VALUES(" + AddMapper("tvshow") +
              ", '" + show + "', '" + show + "') RETURNING id");
    std::string mapper = AddMapper("tvshow_episode");
    Exec("INSERT INTO tvshow_episode(mapper_id, tvshow_id, year, sort_time) VALUES(" + mapper +
         ", " + showId + ", " + std::to_string(year) + ", '" + std::to_string(year) + "-06-01')");
    return mapper;
  }
  void Collect(const std::string& mapper, int collection) {
    Exec("INSERT INTO collection_map(mapper_id, collection_id) VALUES(" + mapper + ", " +
         std::to_string(collection) + ")");
  }
};

TEST_F(VideoMetadataDbCollectionTest, AListingIsSortedAndPagedAsOne) {
  Collect(AddMovie("beta", 2001), 1);
  Collect(AddMovie("Delta", 2003), 1);
  Collect(AddHomeVideo("alpha", "2002-07-08 09:10:11"), 1);
  Collect(AddMovie("Charlie", 2000), 2);
  VideoDB db(nullptr, "");
  ASSERT_EQ(db.SelectAllByCollectionID("1", "sort_title", ORDER_DIRECTION_ASC, 0, 10), 3);
  ASSERT_FALSE(Statements().empty());
  const std::string sql = Statements().back();
  EXPECT_NE(sql.find("movie.mapper_id IN (SELECT mapper_id FROM collection_map WHERE "
                     "collection_id=1)"),
            std::string::npos);
  EXPECT_TRUE(EndsWith(sql, ") ORDER BY upper_sort_title ASC OFFSET 0 LIMIT 10"));
  EXPECT_EQ(Listed(db),
            (std::vector<std::string>{"alpha/home_video", "beta/movie", "Delta/movie"}));

  ASSERT_EQ(db.SelectAllByCollectionID("1", "sort_title", ORDER_DIRECTION_DESC, 1, 1), 1);
  EXPECT_EQ(Listed(db), (std::vector<std::string>{"beta/movie"}));

  EXPECT_EQ(db.SelectAllByCollectionID("1", "no_such_column", ORDER_DIRECTION_ASC, 0, 10), -1);
  EXPECT_TRUE(LoggedLine("COLLECTION", Statements().back()));
  EXPECT_EQ(db.SelectAllByCollectionID("1", "x; DELETE FROM mapper", ORDER_DIRECTION_ASC, 0, 10), 3)
      << "a sort column that is not a plain name sorts by title";
}

TEST_F(VideoMetadataDbCollectionTest, SortTimeSortsByYearThenTime) {
  Collect(AddMovie("m2003", 2003, "1990-01-01"), 1);
  Collect(AddHomeVideo("h2002", "2002-07-08 09:10:11"), 1);
  Collect(AddMovie("m2002", 2002, "2002-01-01"), 1);
  Collect(AddEpisode("show", 2001), 1);
  VideoDB db(nullptr, "");
  ASSERT_EQ(db.SelectAllByCollectionID("1", "sort_time", ORDER_DIRECTION_ASC, 0, 10), 4);
  EXPECT_EQ(Listed(db), (std::vector<std::string>{"show/tvshow_episode", "m2002/movie",
                                                  "h2002/home_video", "m2003/movie"}));
  ASSERT_EQ(db.SelectAllByCollectionID("1", "sort_time", ORDER_DIRECTION_ASC, 2, 1), 1);
  ASSERT_TRUE(db.NextRow());
  _VIDEO_INFO_ALL_ item;
  ASSERT_TRUE(db.FetchVideoItem(item));
  EXPECT_STREQ(item.year, "2002") << "a home video's year comes from its record time";
  EXPECT_EQ(std::string(item.originally_available).substr(0, 10), "2002-07-08");
}

TEST_F(VideoMetadataDbCollectionTest, AnUnlimitedListingIsUnorderedAndTakesEveryCollectedEpisode) {
  Collect(AddMovie("mine", 2001), 1);
  Collect(AddMovie("theirs", 2001), 2);
  Collect(AddEpisode("my show", 2001), 1);
  Collect(AddEpisode("their show", 2001), 2);
  AddEpisode("no collection", 2001);
  VideoDB db(nullptr, "");
  ASSERT_EQ(db.SelectAllByCollectionID("1", "title", ORDER_DIRECTION_ASC, 5, 0), 3);
  const std::string sql = Statements().back();
  for (const char* clause : {"ORDER BY", "OFFSET", "LIMIT"}) {
    EXPECT_EQ(sql.find(clause), std::string::npos) << clause;
  }
  std::vector<std::string> rows = Listed(db);
  std::sort(rows.begin(), rows.end());
  EXPECT_EQ(rows, (std::vector<std::string>{"mine/movie", "my show/tvshow_episode",
                                            "their show/tvshow_episode"}));
}

TEST_F(VideoMetadataDbCollectionTest, SearchFindsVideosByAnyOfTheirNamesTakenLiterally) {
  std::string a = AddMovie("Alpha", 2001);
  std::string b = AddMovie("Bravo", 2002);
  std::string c = AddEpisode("Show", 2003);
  for (const std::string& m : {a, b, c}) Collect(m, 1);
  Exec("INSERT INTO actor(mapper_id, actor) VALUES(" + a + ", 'Ann Lee'), (" + a +
       ", 'Anna Lee'), (" + c + ", 'Bob')");
  Exec("INSERT INTO director(mapper_id, director) VALUES(" + b + ", '100% Dee')");
  VideoDB db(nullptr, "");
  Json::Value criteria;
  criteria["actor"] = "lee";
  ASSERT_EQ(db.CollectionGlobalSearch(criteria, "1", "sort_title", ORDER_DIRECTION_ASC, 0, 10), 1)
      << "one row per video however many names match";
  EXPECT_EQ(Listed(db), (std::vector<std::string>{"Alpha/movie"}));
  const std::string sql = Statements().back();
  EXPECT_NE(sql.find("SELECT movie.id, movie.mapper_id, movie.title, UPPER(movie.sort_title) as "
                     "upper_sort_title, movie.originally_available, movie.year as year, "
                     "movie.sort_time as sort_time, type FROM movie LEFT JOIN mapper ON "
                     "movie.mapper_id=mapper.id WHERE movie.id IN (SELECT movie.id FROM movie LEFT "
                     "JOIN mapper ON movie.mapper_id=mapper.id LEFT JOIN actor ON "
                     "mapper.id=actor.mapper_id WHERE movie.mapper_id IN (SELECT mapper_id FROM "
                     "collection_map WHERE collection_id=1) AND (actor ilike '%lee%') GROUP BY "
                     "movie.id) UNION  SELECT home_video.id"),
            std::string::npos);
  EXPECT_TRUE(EndsWith(sql, ") ORDER BY upper_sort_title ASC OFFSET 0 LIMIT 10"));

  criteria = Json::Value();
  criteria["director"] = "100%";
  criteria["title"] = "show";
  ASSERT_EQ(db.CollectionGlobalSearch(criteria, "1", "title", ORDER_DIRECTION_DESC, 0, 0), 2);
  EXPECT_EQ(Listed(db), (std::vector<std::string>{"Show/tvshow_episode", "Bravo/movie"}));
  EXPECT_TRUE(EndsWith(Statements().back(), "GROUP BY tv_record.id) ORDER BY title DESC OFFSET 0"));

  // Texts match literally; no match is 0 rows, not a failure.
  for (const char* text : {"%", "_", kAwkward}) {
    criteria = Json::Value();
    criteria["actor"] = text;
    EXPECT_EQ(db.CollectionGlobalSearch(criteria, "1", "title", ORDER_DIRECTION_ASC, 0, 10), 0)
        << text;
  }
}

TEST_F(VideoMetadataDbCollectionTest, SearchRefusesWhatWouldStandUnquoted) {
  Collect(AddMovie("Alpha", 2001), 1);
  VideoDB db(nullptr, "");
  Json::Value criteria;
  criteria["title"] = "a";
  EXPECT_EQ(db.CollectionGlobalSearch(criteria, "1 OR true", "title", ORDER_DIRECTION_ASC, 0, 10),
            -1);
  EXPECT_TRUE(Statements().empty());
  criteria["1=1) OR (true"] = "x";
  // A condition too long for its buffer would leave its quote open, and the
  // next branch's quote would close it before the text: it is left out.
  criteria["actor"] = std::string(1100, 'a') + " OR true OR ";
  EXPECT_EQ(db.CollectionGlobalSearch(criteria, "1", "title", ORDER_DIRECTION_ASC, 0, 10), 1)
      << "criteria whose name is not a plain name, or too long, are left out";
  EXPECT_EQ(Statements().back().find("aaaa"), std::string::npos);
  Json::Value unknown;
  unknown["no_such_column"] = "x";
  EXPECT_EQ(db.CollectionGlobalSearch(unknown, "1", "title", ORDER_DIRECTION_ASC, 0, 10), -1);
  EXPECT_TRUE(LoggedLine("C_SEARCH", Statements().back()));
  // Without a usable criterion nothing is sent.
  MarkStatements();
  Json::Value none(Json::objectValue);
  EXPECT_EQ(db.CollectionGlobalSearch(none, "1", "title", ORDER_DIRECTION_ASC, 0, 10), -1);
  Json::Value unusable;
  unusable["a b"] = "x";
  EXPECT_EQ(db.CollectionGlobalSearch(unusable, "1", "title", ORDER_DIRECTION_ASC, 0, 10), -1);
  EXPECT_EQ(
      db.CollectionGlobalSearch(Json::Value("text"), "1", "title", ORDER_DIRECTION_ASC, 0, 10), -1);
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
}

}  // namespace
}  // namespace kinolot_test
