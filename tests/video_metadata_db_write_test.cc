// VideoDB's writes and collection queries against the real server: the
// statements they send, that caller texts survive them unchanged, and the
// rows that the collection unions list and find.
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using VideoMetadataDbWriteTest = DatabaseTest;
using Texts = std::vector<std::string>;

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST_F(VideoMetadataDbWriteTest, InsertAndDeleteRunOnlyWholeStatements) {
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

TEST_F(VideoMetadataDbWriteTest, UpdateRendersEachColumnByItsKindAndRefusesWhatCouldEscape) {
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

TEST_F(VideoMetadataDbWriteTest, NameListsAreReplacedWholeForDecimalMapperIdsOnly) {
  const std::string mapper = AddMapper("movie");
  VideoDB db(nullptr, "actor");
  ASSERT_TRUE(db.InsertList(mapper, {"Ann", kAwkward}));
  EXPECT_TRUE(Received("INSERT INTO actor(actor, mapper_id) VALUES('Ann', " + mapper + ")"));
  EXPECT_EQ(Query("SELECT actor FROM actor ORDER BY id"), (Rows{{"Ann"}, {kAwkward}}));
  ASSERT_TRUE(db.DeleteList(mapper));
  EXPECT_TRUE(Received("DELETE FROM actor WHERE mapper_id = " + mapper));
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

class CollectionQueryTest : public DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
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

TEST_F(CollectionQueryTest, AListingIsOneUnionSortedAndPagedAsOne) {
  Collect(AddMovie("beta", 2003, "1990-01-01"), 1);
  Collect(AddMovie("Delta", 2002, "2002-01-01"), 1);
  Collect(AddHomeVideo("alpha", "2002-07-08 09:10:11"), 1);
  Collect(AddEpisode("show", 2001), 1);
  Collect(AddMovie("Charlie", 2000), 2);
  Collect(AddEpisode("their show", 2001), 2);
  AddEpisode("no collection", 2001);
  VideoDB db(nullptr, "");
  ASSERT_EQ(db.SelectAllByCollectionID("1", "sort_title", ORDER_DIRECTION_ASC, 0, 10), 4);
  const std::string sql = Statements().back();
  EXPECT_NE(sql.find("movie.mapper_id IN (SELECT mapper_id FROM collection_map WHERE "
                     "collection_id=1)"),
            std::string::npos);
  EXPECT_TRUE(EndsWith(sql, ") ORDER BY upper_sort_title ASC OFFSET 0 LIMIT 10"));
  EXPECT_EQ(Listed(db),
            (Texts{"alpha/home_video", "beta/movie", "Delta/movie", "show/tvshow_episode"}));
  ASSERT_EQ(db.SelectAllByCollectionID("1", "sort_title", ORDER_DIRECTION_DESC, 1, 1), 1);
  EXPECT_EQ(Listed(db), Texts{"Delta/movie"});

  // Sort times sort by year first; a home video's year and date come from
  // its record time.
  ASSERT_EQ(db.SelectAllByCollectionID("1", "sort_time", ORDER_DIRECTION_ASC, 0, 10), 4);
  EXPECT_EQ(Listed(db),
            (Texts{"show/tvshow_episode", "Delta/movie", "alpha/home_video", "beta/movie"}));
  ASSERT_EQ(db.SelectAllByCollectionID("1", "sort_time", ORDER_DIRECTION_ASC, 2, 1), 1);
  ASSERT_TRUE(db.NextRow());
  _VIDEO_INFO_ALL_ item;
  ASSERT_TRUE(db.FetchVideoItem(item));
  EXPECT_STREQ(item.year, "2002");
  EXPECT_EQ(std::string(item.originally_available).substr(0, 10), "2002-07-08");

  // A sort column that is not a plain name sorts by title; one the server
  // does not know fails and is logged.
  EXPECT_EQ(db.SelectAllByCollectionID("1", "x; DELETE FROM mapper", ORDER_DIRECTION_ASC, 0, 10),
            4);
  EXPECT_EQ(db.SelectAllByCollectionID("1", "no_such_column", ORDER_DIRECTION_ASC, 0, 10), -1);
  EXPECT_TRUE(LoggedLine("COLLECTION", Statements().back()));

  // Without a limit the listing is unordered and unpaged, and takes the
  // episodes of every collection.
  ASSERT_EQ(db.SelectAllByCollectionID("1", "title", ORDER_DIRECTION_ASC, 5, 0), 5);
  for (const char* clause : {"ORDER BY", "OFFSET", "LIMIT"}) {
    EXPECT_EQ(Statements().back().find(clause), std::string::npos) << clause;
  }
  Texts rows = Listed(db);
  EXPECT_EQ(std::count(rows.begin(), rows.end(), "their show/tvshow_episode"), 1);
}

TEST_F(CollectionQueryTest, SearchFindsVideosByAnyOfTheirNamesTakenLiterally) {
  std::string a = AddMovie("Alpha", 2001), b = AddMovie("Bravo", 2002),
              c = AddEpisode("Show", 2003);
  for (const std::string& m : {a, b, c}) Collect(m, 1);
  AddName("actor", a, "Ann Lee");
  AddName("actor", a, "Anna Lee");
  AddName("actor", c, "Bob");
  AddName("director", b, "100% Dee");
  VideoDB db(nullptr, "");
  Json::Value criteria;
  criteria["actor"] = "lee";
  ASSERT_EQ(db.CollectionGlobalSearch(criteria, "1", "sort_title", ORDER_DIRECTION_ASC, 0, 10), 1)
      << "one row per video however many names match";
  EXPECT_EQ(Listed(db), Texts{"Alpha/movie"});
  EXPECT_NE(Statements().back().find(
                "SELECT movie.id, movie.mapper_id, movie.title, UPPER(movie.sort_title) as "
                "upper_sort_title, movie.originally_available, movie.year as year, "
                "movie.sort_time as sort_time, type FROM movie LEFT JOIN mapper ON "
                "movie.mapper_id=mapper.id WHERE movie.id IN (SELECT movie.id FROM movie LEFT "
                "JOIN mapper ON movie.mapper_id=mapper.id LEFT JOIN actor ON "
                "mapper.id=actor.mapper_id WHERE movie.mapper_id IN (SELECT mapper_id FROM "
                "collection_map WHERE collection_id=1) AND (actor ilike '%lee%') GROUP BY "
                "movie.id) UNION  SELECT home_video.id"),
            std::string::npos);
  EXPECT_TRUE(EndsWith(Statements().back(), ") ORDER BY upper_sort_title ASC OFFSET 0 LIMIT 10"));

  criteria = Json::Value();
  criteria["director"] = "100%";
  criteria["title"] = "show";
  ASSERT_EQ(db.CollectionGlobalSearch(criteria, "1", "title", ORDER_DIRECTION_DESC, 0, 0), 2);
  EXPECT_EQ(Listed(db), (Texts{"Show/tvshow_episode", "Bravo/movie"}));
  EXPECT_TRUE(EndsWith(Statements().back(), "GROUP BY tv_record.id) ORDER BY title DESC OFFSET 0"));
  for (const char* text : {"%", "_", kAwkward}) {
    criteria = Json::Value();
    criteria["actor"] = text;
    EXPECT_EQ(db.CollectionGlobalSearch(criteria, "1", "title", ORDER_DIRECTION_ASC, 0, 10), 0)
        << "no match is no row, not a failure: " << text;
  }
}

TEST_F(CollectionQueryTest, SearchRefusesWhatWouldStandUnquoted) {
  Collect(AddMovie("Alpha", 2001), 1);
  VideoDB db(nullptr, "");
  Json::Value criteria;
  criteria["title"] = "a";
  EXPECT_EQ(db.CollectionGlobalSearch(criteria, "1 OR true", "title", ORDER_DIRECTION_ASC, 0, 10),
            -1);
  // Criteria whose name is not a plain name are left out, and so is one too
  // long for its buffer, whose quote would be left open.
  criteria["1=1) OR (true"] = "x";
  criteria["actor"] = std::string(1100, 'a') + " OR true OR ";
  EXPECT_EQ(db.CollectionGlobalSearch(criteria, "1", "title", ORDER_DIRECTION_ASC, 0, 10), 1);
  EXPECT_EQ(Statements().size(), 1u);
  EXPECT_EQ(Statements().back().find("aaaa"), std::string::npos);
  EXPECT_EQ(Statements().back().find("1=1"), std::string::npos);
  Json::Value unknown;
  unknown["no_such_column"] = "x";
  EXPECT_EQ(db.CollectionGlobalSearch(unknown, "1", "title", ORDER_DIRECTION_ASC, 0, 10), -1);
  EXPECT_TRUE(LoggedLine("C_SEARCH", Statements().back()));
  // Without a usable criterion nothing is sent.
  MarkStatements();
  Json::Value unusable;
  unusable["a b"] = "x";
  for (const Json::Value& none : {Json::Value(Json::objectValue), unusable, Json::Value("text")}) {
    EXPECT_EQ(db.CollectionGlobalSearch(none, "1", "title", ORDER_DIRECTION_ASC, 0, 10), -1);
  }
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
}

}  // namespace
}  // namespace kinolot_test
