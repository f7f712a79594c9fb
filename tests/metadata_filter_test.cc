// Filters and keyword search: the exact joins and conditions each request
// adds to the query builder, and what they find on the real server when the
// caller's values hold quotes, LIKE wildcards or SQL.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kinolot/video_metadata_db.h"
#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using Texts = std::vector<std::string>;

class MetadataFilterTest : public MetadataTest {
 protected:
  // Runs FilterHandler on a fresh builder over `type`'s table; returns it.
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
  // The ids of the movies that Search finds by title fragment.
  std::string MoviesTitled(const std::string& fragment) {
    Json::Value answer;
    unsigned long total = 0, count = 0;
    EXPECT_TRUE(api_.Search(VIDEO_TABLE_MOVIE, 0, 0, VIDEO_ADDITIONAL_NONE, "id",
                            ORDER_DIRECTION_ASC, Json::Value(), fragment, "", nullptr, nullptr,
                            nullptr, nullptr, "", answer, total, count));
    return Column(answer["movies"], "id");
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
  AddLibrary();
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

  Json::Value answer;
  unsigned long total = 0, count = 0;
  ASSERT_TRUE(api_.List(VIDEO_TABLE_MOVIE, 0, 0, VIDEO_ADDITIONAL_NONE, "id", ORDER_DIRECTION_ASC,
                        "", "3", nullptr, nullptr, nullptr, "", answer, total, count));
  EXPECT_EQ(Column(answer["movies"], "id"), "1,2");
  EXPECT_EQ(total, 2u);
  ASSERT_TRUE(api_.List(VIDEO_TABLE_TVSHOW, 0, 0, VIDEO_ADDITIONAL_NONE, "", ORDER_DIRECTION_ASC,
                        "", "6", nullptr, nullptr, nullptr, "", answer, total, count));
  EXPECT_EQ(Column(answer["tvshows"], "title"), "Show One") << "Dan Fox plays in show 1";
  ASSERT_TRUE(api_.Search(VIDEO_TABLE_MOVIE, 0, 0, VIDEO_ADDITIONAL_NONE, "id", ORDER_DIRECTION_ASC,
                          Json::Value(), "", "", "lee", nullptr, nullptr, "dram", "", answer, total,
                          count));
  EXPECT_EQ(Column(answer["movies"], "id"), "1");

  // Movies without any actor, and ids that name no row.
  ASSERT_TRUE(api_.List(VIDEO_TABLE_MOVIE, 0, 0, VIDEO_ADDITIONAL_NONE, "id", ORDER_DIRECTION_ASC,
                        "", "", nullptr, nullptr, nullptr, "", answer, total, count));
  EXPECT_EQ(Column(answer["movies"], "id"), "3,4");
  for (const char* missing : {"999", "", "1 or 1=1", "-1"}) {
    std::string value = "unchanged";
    if (missing[0] != '\0') {
      value.clear();
      api_.GetValueById("actor", missing, value);
      EXPECT_EQ(value, "") << missing;
    }
    ASSERT_TRUE(api_.List(VIDEO_TABLE_MOVIE, 0, 0, VIDEO_ADDITIONAL_NONE, "", ORDER_DIRECTION_ASC,
                          "", nullptr, missing[0] ? missing : nullptr, nullptr, nullptr, "", answer,
                          total, count));
    EXPECT_EQ(total, missing[0] ? 0u : 5u) << missing;
  }
  EXPECT_FALSE(AnyStatementHolds("1=1"));
}

TEST_F(MetadataFilterTest, YearsAndShowIdsThatAreNotNumbersMatchNothing) {
  AddLibrary();
  const std::string attack = "2003' OR '1'='1";
  Added movie = Filter(VIDEO_TABLE_MOVIE, VIDEO_ACTION_LIST, "", "", "", nullptr, nullptr, nullptr,
                       nullptr, attack);
  EXPECT_EQ(movie.conditions, Texts{"1=0"});
  Added episode = Filter(VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_ACTION_LIST, "", "1 or true", "",
                         nullptr, nullptr, nullptr, nullptr, "");
  EXPECT_EQ(episode.conditions, Texts{"1=0"});

  Json::Value answer;
  unsigned long total = 9, count = 9;
  ASSERT_TRUE(api_.List(VIDEO_TABLE_HOME_VIDEO, 0, 10, VIDEO_ADDITIONAL_NONE, "",
                        ORDER_DIRECTION_ASC, "", nullptr, nullptr, nullptr, nullptr, attack, answer,
                        total, count));
  EXPECT_EQ(answer, Page(0, 0, "videos", Json::Value(Json::arrayValue)));
  ASSERT_TRUE(api_.List(VIDEO_TABLE_TVSHOW_EPISODE, 0, 10, VIDEO_ADDITIONAL_NONE, "",
                        ORDER_DIRECTION_ASC, "1; DELETE FROM mapper", nullptr, nullptr, nullptr,
                        nullptr, "", answer, total, count));
  EXPECT_EQ(total, 0u);
  ASSERT_TRUE(api_.List(VIDEO_TABLE_TVSHOW_EPISODE, 0, 10, VIDEO_ADDITIONAL_NONE, "",
                        ORDER_DIRECTION_ASC, "1", nullptr, nullptr, nullptr, nullptr, "2011",
                        answer, total, count));
  EXPECT_EQ(Column(answer["episodes"], "id"), "2");
  EXPECT_FALSE(AnyStatementHolds("'1'='1"));
  EXPECT_FALSE(AnyStatementHolds("DELETE"));
  EXPECT_EQ(Count("mapper"), 13);
}

TEST_F(MetadataFilterTest, FragmentsAreFoundLiterally) {
  AddLibrary();
  Exec("INSERT INTO mapper(id, type) VALUES (14, 'movie')");
  Exec("INSERT INTO movie(id, mapper_id, title) VALUES (14, 14, 'Amélie a\\b')");
  EXPECT_EQ(MoviesTitled("50%"), "3");
  EXPECT_EQ(MoviesTitled("sale 50"), "3,4");
  EXPECT_EQ(MoviesTitled("_"), "");
  EXPECT_EQ(MoviesTitled("O'Brien"), "5");
  EXPECT_EQ(MoviesTitled("mélie a\\b"), "14");
  EXPECT_EQ(MoviesTitled("\\"), "14");
  EXPECT_EQ(MoviesTitled("%' OR '1'='1"), "");
  EXPECT_EQ(Count("movie"), 6);
}

TEST_F(MetadataFilterTest, KeywordSearchIsOneConditionOfAlternatives) {
  AddLibrary();
  Json::Value keywords;
  keywords["title"] = "star";
  keywords["actor"] = "O'Ford 5%";
  VideoDB movies(nullptr, "movie");
  ASSERT_TRUE(api_.GlobalSearch(movies, VIDEO_TABLE_MOVIE, keywords));
  EXPECT_EQ(movies.conditions,
            Texts{" id IN ( select movie.id FROM movie  LEFT JOIN mapper ON "
                  "mapper.id=movie.mapper_id LEFT JOIN actor ON mapper.id=actor.mapper_id WHERE "
                  "actor ilike '%O''Ford 5\\%%' or title ilike '%star%' GROUP BY movie.id )"});

  VideoDB shows(nullptr, "tvshow");
  Json::Value byTitle;
  byTitle["title"] = "one";
  ASSERT_TRUE(api_.GlobalSearch(shows, VIDEO_TABLE_TVSHOW, byTitle));
  EXPECT_EQ(shows.conditions,
            Texts{" id IN ( select tvshow.id FROM tvshow LEFT JOIN tvshow_episode ON "
                  "tvshow.id=tvshow_episode.tvshow_id LEFT JOIN mapper ON "
                  "mapper.id=tvshow.mapper_id  WHERE title ilike '%one%' GROUP BY tvshow.id )"});

  // Refused: other kinds, keywords that are not an object of plain columns.
  VideoDB refused(nullptr, "tvshow_episode");
  EXPECT_FALSE(api_.GlobalSearch(refused, VIDEO_TABLE_TVSHOW_EPISODE, byTitle));
  EXPECT_FALSE(api_.GlobalSearch(refused, VIDEO_TABLE_TV_RECORD, byTitle));
  Json::Value injected;
  injected["title) OR (1=1"] = "x";
  for (const Json::Value& bad : {Json::Value("star"), Json::Value(Json::arrayValue), injected}) {
    EXPECT_FALSE(api_.GlobalSearch(movies, VIDEO_TABLE_MOVIE, bad));
  }
  EXPECT_TRUE(refused.conditions.empty());
  EXPECT_EQ(movies.conditions.size(), 1u);

  // Through Search: the keywords win over every filter argument.
  Json::Value answer;
  unsigned long total = 0, count = 0;
  Json::Value people;
  people["actor"] = "ann";
  people["title"] = "o'brien";
  ASSERT_TRUE(api_.Search(VIDEO_TABLE_MOVIE, 0, 10, VIDEO_ADDITIONAL_NONE, "id",
                          ORDER_DIRECTION_ASC, people, "Alpha", "", "", "", "", "", "1850", answer,
                          total, count));
  EXPECT_EQ(Column(answer["movies"], "id"), "1,2,5");
  EXPECT_EQ(total, 3u);
  Json::Value list(Json::arrayValue);
  list.append("Alpha");
  EXPECT_FALSE(api_.Search(VIDEO_TABLE_MOVIE, 0, 10, VIDEO_ADDITIONAL_NONE, "", ORDER_DIRECTION_ASC,
                           list, "", "", nullptr, nullptr, nullptr, nullptr, "", answer, total,
                           count));
  EXPECT_EQ(answer, Page(0, 0, "movies", Json::Value(Json::arrayValue)));
}

}  // namespace
}  // namespace kinolot_test
