// Filters and keyword search: the exact joins and conditions each request
// adds to the query builder, and what they find on the real server when the
// caller's values hold quotes, LIKE wildcards or SQL.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kinolot/mapping_tables.h"
#include "kinolot/video_metadata_db.h"
#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using Texts = std::vector<std::string>;

class MetadataFilterTest : public MetadataTest {
 protected:
  // What FilterHandler adds to a fresh builder over `type`'s table.
  struct Added {
    Texts joins;
    Texts conditions;
  };
  Added Filter(_VIDEO_TABLE_TYPE_ type, _VIDEO_ACTION_CAP_ cap, const std::string& title,
               const std::string& showId, const std::string& channel, const char* actor,
               const char* director, const char* writer, const char* genre,
               const std::string& year) {
    std::string table = gMappingTable[type];
    VideoDB db(nullptr, table);
    api_.FilterHandler(db, type, cap, table, title, showId, channel, actor, director, writer, genre,
                       year);
    return Added{db.join_tables, db.conditions};
  }
  bool AnyStatementHolds(const std::string& text) {
    for (const std::string& sql : Statements()) {
      if (sql.find(text) != std::string::npos) return true;
    }
    return false;
  }
};

TEST_F(MetadataFilterTest, EachKindGetsItsYearShowAndUnknownConditions) {
  Added movie = Filter(VIDEO_TABLE_MOVIE, VIDEO_ACTION_LIST, "ignored when listing", "", "", "",
                       nullptr, nullptr, nullptr, "2003");
  EXPECT_EQ(movie.joins, Texts{});
  EXPECT_EQ(movie.conditions,
            (Texts{"movie.year='2003'", "movie.mapper_id NOT IN (SELECT mapper_id FROM actor)"}));

  // Shows are filtered through their episodes.
  Added show =
      Filter(VIDEO_TABLE_TVSHOW, VIDEO_ACTION_LIST, "", "", "", "", nullptr, nullptr, "", "2010");
  EXPECT_EQ(show.joins, Texts{"tvshow_episode"});
  EXPECT_EQ(show.conditions,
            (Texts{"tvshow_episode.year='2010'",
                   "tvshow_episode.mapper_id NOT IN (SELECT mapper_id FROM actor)",
                   "tvshow_episode.mapper_id NOT IN (SELECT mapper_id FROM gnere)"}));

  Added episode = Filter(VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_ACTION_LIST, "", "7", "", nullptr,
                         nullptr, nullptr, nullptr, "2010");
  EXPECT_EQ(episode.joins, Texts{"tvshow"});
  EXPECT_EQ(episode.conditions,
            (Texts{"tvshow_episode.tvshow_id=7", "tvshow_episode.year='2010'"}));

  Added home = Filter(VIDEO_TABLE_HOME_VIDEO, VIDEO_ACTION_LIST, "", "", "", nullptr, nullptr,
                      nullptr, nullptr, "2012");
  EXPECT_EQ(home.conditions, Texts{"EXTRACT(YEAR FROM home_video.record_time)='2012'"});

  // Recordings: a channel fragment when searching; no year, person or genre.
  Added record = Filter(VIDEO_TABLE_TV_RECORD, VIDEO_ACTION_SEARCH, "Ne_ws", "", "Chan%", "Ann", "",
                        nullptr, nullptr, "2020");
  EXPECT_EQ(record.joins, Texts{});
  EXPECT_EQ(record.conditions,
            (Texts{"channel_name ilike '%Chan\\%%'", "title ilike '%Ne\\_ws%'"}));
  Added listed = Filter(VIDEO_TABLE_TV_RECORD, VIDEO_ACTION_LIST, "News", "", "Chan", nullptr,
                        nullptr, nullptr, nullptr, "");
  EXPECT_EQ(listed.conditions, Texts{});
}

TEST_F(MetadataFilterTest, PersonFiltersMatchByIdWhenListingAndByFragmentWhenSearching) {
  // Actor row 3 is "Ann Lee" of movie 2; listing by it finds every movie
  // with that name.
  Added byId =
      Filter(VIDEO_TABLE_MOVIE, VIDEO_ACTION_LIST, "", "", "", "3", nullptr, nullptr, "1", "");
  EXPECT_EQ(byId.joins, (Texts{"mapper", "actor", "gnere"}));
  EXPECT_EQ(byId.conditions, (Texts{"actor='Ann Lee'", "gnere='Drama'"}));
  Added byName = Filter(VIDEO_TABLE_TVSHOW, VIDEO_ACTION_SEARCH, "", "", "", nullptr, "O'Z",
                        nullptr, nullptr, "");
  EXPECT_EQ(byName.joins, (Texts{"tvshow_episode", "mapper", "director"}));
  EXPECT_EQ(byName.conditions, Texts{"director ilike '%O''Z%'"});

  ASSERT_TRUE(List(VIDEO_TABLE_MOVIE, "", "3"));
  EXPECT_EQ(Column(answer_["movies"], "id"), "1,2");
  EXPECT_EQ(total_, 2u);
  ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW, "", "6"));
  EXPECT_EQ(Column(answer_["tvshows"], "title"), "Show One") << "Dan Fox plays in show 1";
  ASSERT_TRUE(SearchMovies(Json::Value(), "", "lee", "dram"));
  EXPECT_EQ(Column(answer_["movies"], "id"), "1");

  // Movies without any actor, and ids that name no row.
  ASSERT_TRUE(List(VIDEO_TABLE_MOVIE, "", ""));
  EXPECT_EQ(Column(answer_["movies"], "id"), "3,4");
  for (const char* missing : {"999", "1 or 1=1", "-1"}) {
    std::string value;
    api_.GetValueById("actor", missing, value);
    EXPECT_EQ(value, "") << missing;
    ASSERT_TRUE(List(VIDEO_TABLE_MOVIE, "", nullptr, missing));
    EXPECT_EQ(total_, 0u) << missing;
  }
  EXPECT_FALSE(AnyStatementHolds("1=1"));

  // Table names stand unquoted too: only plain names are taken.
  VideoDB db(nullptr, "movie");
  std::string value;
  api_.GetValueById("actor; DELETE FROM movie; --", "1", value);
  api_.FilterId(db, "actor; DELETE FROM movie; --", "1");
  api_.FilterName(db, "actor a, movie", "Ann");
  api_.FilterHandler(db, VIDEO_TABLE_MOVIE, VIDEO_ACTION_LIST, "movie m, actor", "", "", "", "",
                     nullptr, nullptr, nullptr, "2003");
  EXPECT_EQ(db.join_tables, Texts{});
  EXPECT_EQ(db.conditions, Texts{});
  EXPECT_EQ(Count("movie"), 5);
}

TEST_F(MetadataFilterTest, YearsAndShowIdsThatAreNotNumbersMatchNothing) {
  for (_VIDEO_TABLE_TYPE_ type : {VIDEO_TABLE_MOVIE, VIDEO_TABLE_TVSHOW, VIDEO_TABLE_TVSHOW_EPISODE,
                                  VIDEO_TABLE_HOME_VIDEO}) {
    ASSERT_TRUE(List(type, "", nullptr, nullptr, "2003' OR '1'='1"));
    EXPECT_EQ(answer_, Page(0, 0, gMappingKeyName[type])) << type;
  }
  for (const char* showId : {"1; DELETE FROM mapper", "1 or true"}) {
    ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW_EPISODE, showId));
    EXPECT_EQ(answer_, Page(0, 0, "episodes")) << showId;
  }
  ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW_EPISODE, "1", nullptr, nullptr, "2011"));
  EXPECT_EQ(Column(answer_["episodes"], "id"), "2");
  EXPECT_FALSE(AnyStatementHolds("'1'='1"));
  EXPECT_FALSE(AnyStatementHolds("DELETE"));
  EXPECT_EQ(Count("mapper"), 13);
}

TEST_F(MetadataFilterTest, FragmentsAreFoundLiterally) {
  Exec("INSERT INTO mapper(id, type) VALUES (14, 'movie')");
  Exec("INSERT INTO movie(id, mapper_id, title) VALUES (14, 14, 'Amélie a\\b')");
  const std::pair<const char*, const char*> cases[] = {
      {"50%", "3"},         {"sale 50", "3,4"}, {"_", ""},           {"O'Brien", "5"},
      {"mélie a\\b", "14"}, {"\\", "14"},       {"%' OR '1'='1", ""}};
  for (const auto& c : cases) {
    ASSERT_TRUE(SearchMovies(Json::Value(), c.first)) << c.first;
    EXPECT_EQ(Column(answer_["movies"], "id"), c.second) << c.first;
  }
  EXPECT_EQ(Count("movie"), 6);
}

TEST_F(MetadataFilterTest, KeywordSearchIsOneConditionOfAlternatives) {
  Json::Value keywords = Parse(R"({"title": "star", "actor": "O'Ford 5%"})");
  VideoDB movies(nullptr, "movie");
  ASSERT_TRUE(api_.GlobalSearch(movies, VIDEO_TABLE_MOVIE, keywords));
  EXPECT_EQ(movies.conditions,
            Texts{" id IN ( select movie.id FROM movie  LEFT JOIN mapper ON "
                  "mapper.id=movie.mapper_id LEFT JOIN actor ON mapper.id=actor.mapper_id WHERE "
                  "actor ilike '%O''Ford 5\\%%' or title ilike '%star%' GROUP BY movie.id )"});

  VideoDB shows(nullptr, "tvshow");
  Json::Value byTitle = Parse(R"({"title": "one"})");
  ASSERT_TRUE(api_.GlobalSearch(shows, VIDEO_TABLE_TVSHOW, byTitle));
  EXPECT_EQ(shows.conditions,
            Texts{" id IN ( select tvshow.id FROM tvshow LEFT JOIN tvshow_episode ON "
                  "tvshow.id=tvshow_episode.tvshow_id LEFT JOIN mapper ON "
                  "mapper.id=tvshow.mapper_id  WHERE title ilike '%one%' GROUP BY tvshow.id )"});

  // Refused: other kinds, keywords that are not an object of plain columns.
  VideoDB refused(nullptr, "tvshow_episode");
  EXPECT_FALSE(api_.GlobalSearch(refused, VIDEO_TABLE_TVSHOW_EPISODE, byTitle));
  EXPECT_FALSE(api_.GlobalSearch(refused, VIDEO_TABLE_TV_RECORD, byTitle));
  for (const char* bad :
       {R"("star")", "[]", R"({"title) OR (1=1": "x"})", R"({"title": "x", "actor": ["ann"]})"}) {
    EXPECT_FALSE(api_.GlobalSearch(movies, VIDEO_TABLE_MOVIE, Parse(bad))) << bad;
  }
  EXPECT_TRUE(refused.conditions.empty());
  EXPECT_EQ(movies.conditions.size(), 1u);

  // Through Search: the keywords win over every filter argument.
  ASSERT_TRUE(
      SearchMovies(Parse(R"({"actor": "ann", "title": "o'brien"})"), "Alpha", "", "", "1850"));
  EXPECT_EQ(Column(answer_["movies"], "id"), "1,2,5");
  EXPECT_EQ(total_, 3u);
}

}  // namespace
}  // namespace kinolot_test
