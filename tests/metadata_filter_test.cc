// Filters and keyword search: what List and Search find on the real server
// for each filter, also when the caller's values hold quotes, LIKE wildcards
// or SQL, and the keyword condition handed to the query builder.
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

using MetadataFilterTest = MetadataTest;

TEST_F(MetadataFilterTest, TableNamesOfFiltersCannotCarrySql) {
  // Table names stand unquoted: only plain names are taken.
  VideoDB db(nullptr, "movie");
  std::string value;
  api_.GetValueById("actor; DELETE FROM movie; --", "1", value);
  api_.FilterId(db, "actor; DELETE FROM movie; --", "1");
  api_.FilterName(db, "actor a, movie", "Ann");
  api_.FilterHandler(db, VIDEO_TABLE_MOVIE, VIDEO_ACTION_LIST, "movie m, actor", "", "", "", "",
                     nullptr, nullptr, nullptr, "2003");
  EXPECT_EQ(db.join_tables.size() + db.conditions.size() + value.size(), 0u);
  EXPECT_EQ(Count("movie"), 5);
}

TEST_F(MetadataFilterTest, ListsAndSearchesFindWhatTheFiltersName) {
  ASSERT_TRUE(List(VIDEO_TABLE_MOVIE, "", "3"));
  EXPECT_EQ(Column(answer_["movies"], "id"), "1,2") << "every movie with that name";
  EXPECT_EQ(total_, 2u);
  // Both episodes of show 1 lack a director; the show is listed once.
  ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW, "", nullptr, ""));
  EXPECT_EQ(Column(answer_["tvshows"], "title"), "Show One");
  ASSERT_TRUE(SearchMovies(Json::Value(), "", "lee", "dram"));
  EXPECT_EQ(Column(answer_["movies"], "id"), "1");
  ASSERT_TRUE(List(VIDEO_TABLE_MOVIE, "", ""));
  EXPECT_EQ(Column(answer_["movies"], "id"), "3,4");
  ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW_EPISODE, "1", nullptr, nullptr, "2011"));
  EXPECT_EQ(Column(answer_["episodes"], "id"), "2");
  ASSERT_TRUE(List(VIDEO_TABLE_HOME_VIDEO, "", nullptr, nullptr, "2012"));
  EXPECT_EQ(Column(answer_["videos"], "title"), "Birthday") << "the year of the recording";
  // Recordings are searched by title and channel fragments only: no person,
  // genre or year narrows them.
  ASSERT_TRUE(api_.Search(VIDEO_TABLE_TV_RECORD, 0, 0, VIDEO_ADDITIONAL_NONE, "id",
                          ORDER_DIRECTION_ASC, Json::Value(), "ew", "hannel 5", "Ann", nullptr,
                          nullptr, "Drama", "1999", answer_, total_, count_));
  EXPECT_EQ(Column(answer_["recordings"], "title"), "News");
  ASSERT_TRUE(api_.Search(VIDEO_TABLE_TV_RECORD, 0, 0, VIDEO_ADDITIONAL_NONE, "id",
                          ORDER_DIRECTION_ASC, Json::Value(), "", "%", nullptr, nullptr, nullptr,
                          nullptr, "", answer_, total_, count_));
  EXPECT_EQ(total_, 0u) << "a channel fragment is literal";

  // Ids that name no row, and years and show ids that are not numbers,
  // match nothing: had they reached the server as SQL, they would match all.
  for (const char* missing : {"999", "1 or 1=1", "-1"}) {
    ASSERT_TRUE(List(VIDEO_TABLE_MOVIE, "", nullptr, missing));
    EXPECT_EQ(answer_, Page(0, 0, "movies")) << missing;
  }
  for (_VIDEO_TABLE_TYPE_ type : {VIDEO_TABLE_MOVIE, VIDEO_TABLE_TVSHOW, VIDEO_TABLE_TVSHOW_EPISODE,
                                  VIDEO_TABLE_HOME_VIDEO}) {
    ASSERT_TRUE(List(type, "", nullptr, nullptr, "2003' OR '1'='1"));
    EXPECT_EQ(answer_, Page(0, 0, gMappingKeyName[type])) << type;
  }
  for (const char* showId : {"1; DELETE FROM mapper", "1 or true"}) {
    ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW_EPISODE, showId));
    EXPECT_EQ(answer_, Page(0, 0, "episodes")) << showId;
  }
  EXPECT_EQ(Count("mapper"), 13);

  // Title fragments are found literally.
  Exec("INSERT INTO mapper(type) VALUES ('movie')");
  Exec("INSERT INTO movie(mapper_id, title) VALUES (14, 'Amélie a\\b')");
  const std::pair<const char*, const char*> fragments[] = {
      {"50%", "3"},        {"sale 50", "3,4"}, {"_", ""},           {"O'Brien", "5"},
      {"mélie a\\b", "6"}, {"\\", "6"},        {"%' OR '1'='1", ""}};
  for (const auto& [fragment, ids] : fragments) {
    ASSERT_TRUE(SearchMovies(Json::Value(), fragment)) << fragment;
    EXPECT_EQ(Column(answer_["movies"], "id"), ids) << fragment;
  }
  EXPECT_EQ(Count("movie"), 6);
}

TEST_F(MetadataFilterTest, KeywordSearchIsOneConditionOfAlternatives) {
  VideoDB movies(nullptr, "movie");
  ASSERT_TRUE(api_.GlobalSearch(movies, VIDEO_TABLE_MOVIE,
                                Parse(R"({"title": "star", "actor": "O'Ford 5%"})")));
  EXPECT_EQ(movies.conditions,
            Texts{" id IN ( select movie.id FROM movie  LEFT JOIN mapper ON "
                  "mapper.id=movie.mapper_id LEFT JOIN actor ON mapper.id=actor.mapper_id WHERE "
                  "actor ilike '%O''Ford 5\\%%' or title ilike '%star%' GROUP BY movie.id )"});
  Json::Value byTitle = Parse(R"({"title": "one"})");

  // Refused: other kinds, and keywords that are not an object of plain
  // column names with texts.
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
  ASSERT_TRUE(api_.Search(VIDEO_TABLE_TVSHOW, 0, 0, VIDEO_ADDITIONAL_NONE, "id",
                          ORDER_DIRECTION_ASC, byTitle, "", "", nullptr, nullptr, nullptr, nullptr,
                          "", answer_, total_, count_));
  EXPECT_EQ(Column(answer_["tvshows"], "title"), "Show One");
}

}  // namespace
}  // namespace kinolot_test
