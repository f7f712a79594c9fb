// Category browse on the real server: the distinct names and years of a kind,
// the unknown entry, narrowing by a fragment, paging and the refused kinds.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class MetadataBrowseTest : public MetadataTest {
 protected:
  bool Browse(_VIDEO_TABLE_TYPE_ type, _VIDEO_CATEGORY_ category, const char* keyword,
              unsigned long offset = 0, unsigned long limit = 0,
              _ORDER_DIRECTION_ direction = ORDER_DIRECTION_ASC) {
    total_ = count_ = 77;
    return api_.CategoryBrowse(type, category, offset, limit, direction, keyword, answer_, total_,
                               count_);
  }
  // The whole answer of a page of browse entries.
  static Json::Value Entries(unsigned long total, unsigned long offset, const char* entries) {
    return Page(total, offset, "metadatas", Parse(entries));
  }
};

TEST_F(MetadataBrowseTest, ActorsOfMoviesWithTheUnknownEntry) {
  ASSERT_TRUE(Browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, nullptr));
  EXPECT_TRUE(
      Received("SELECT actor, MIN(id) as id FROM actor WHERE mapper_id in ( SELECT id FROM mapper "
               "WHERE type='movie' )  GROUP BY actor  ORDER BY UPPER(actor) ASC"))
      << testing::PrintToString(Statements());
  // "Ann Lee" is rows 1 and 3; movies 3 and 4 have no actor.
  EXPECT_EQ(answer_, Entries(4, 4, R"([{"id": "1", "name": "Ann Lee"},
    {"id": "2", "name": "Bob Roe"}, {"id": "4", "name": "Cara Diaz"}, {}])"));
  EXPECT_EQ(total_, 4u);
  EXPECT_EQ(count_, 0u);

  // The unknown entry ends every page and is counted.
  ASSERT_TRUE(Browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, nullptr, 1, 1, ORDER_DIRECTION_DESC));
  EXPECT_EQ(answer_, Entries(4, 3, R"([{"id": "2", "name": "Bob Roe"}, {}])"));

  // Any keyword, even an empty one, drops the unknown entry.
  ASSERT_TRUE(Browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, ""));
  EXPECT_EQ(answer_, Entries(3, 3, R"([{"id": "1", "name": "Ann Lee"},
    {"id": "2", "name": "Bob Roe"}, {"id": "4", "name": "Cara Diaz"}])"));
  ASSERT_TRUE(Browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, "AN"));
  EXPECT_EQ(answer_, Entries(1, 1, R"([{"id": "1", "name": "Ann Lee"}])"));
  for (const char* literal : {"%", "_", "' OR '1'='1"}) {
    ASSERT_TRUE(Browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, literal)) << literal;
    EXPECT_EQ(answer_, EmptyPage("metadatas")) << literal;
  }

  // Episodes have their own actors, and all of them have one.
  ASSERT_TRUE(Browse(VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_CATEGORY_ACTOR, nullptr));
  EXPECT_EQ(answer_,
            Entries(2, 2, R"([{"id": "5", "name": "Ann Lee"}, {"id": "6", "name": "Dan Fox"}])"));
}

TEST_F(MetadataBrowseTest, OtherCategoriesAndYears) {
  ASSERT_TRUE(Browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_GENRE, nullptr));
  EXPECT_EQ(answer_, Entries(3, 3, R"([{"id": "2", "name": "Comedy"},
    {"id": "1", "name": "Drama"}, {}])"));
  ASSERT_TRUE(Browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_WRITER, "w"));
  EXPECT_EQ(answer_, Entries(1, 1, R"([{"id": "1", "name": "Wes"}])"));
  ASSERT_TRUE(Browse(VIDEO_TABLE_HOME_VIDEO, VIDEO_CATEGORY_DIRECTOR, nullptr));
  EXPECT_EQ(answer_, Entries(1, 1, "[{}]")) << "no home video has one";

  ASSERT_TRUE(Browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_YEAR, nullptr, 0, 0, ORDER_DIRECTION_DESC));
  EXPECT_EQ(answer_, Entries(4, 4, R"([{"id": "2005", "name": "2005"},
    {"id": "2003", "name": "2003"}, {"id": "2001", "name": "2001"},
    {"id": "1999", "name": "1999"}])"));
  // Home videos and recordings by the year of their recording.
  Exec("INSERT INTO mapper(id, type) VALUES (14, 'home_video')");
  Exec(
      "INSERT INTO home_video(id, mapper_id, title, record_time) VALUES (3, 14, 'Again', "
      "'2012-12-31 23:00:00')");
  ASSERT_TRUE(Browse(VIDEO_TABLE_HOME_VIDEO, VIDEO_CATEGORY_YEAR, nullptr));
  EXPECT_EQ(answer_, Entries(2, 2, R"([{"id": "2012", "name": "2012"},
    {"id": "2014", "name": "2014"}])"));
  ASSERT_TRUE(Browse(VIDEO_TABLE_TV_RECORD, VIDEO_CATEGORY_YEAR, nullptr, 1, 5));
  EXPECT_EQ(answer_, Entries(2, 2, R"([{"id": "2021", "name": "2021"}])"));
}

TEST_F(MetadataBrowseTest, RefusedKindsAndCategories) {
  for (int type : {0, 2, 6, 13, 99}) {
    answer_ = Json::Value("stale");
    EXPECT_FALSE(Browse(static_cast<_VIDEO_TABLE_TYPE_>(type), VIDEO_CATEGORY_ACTOR, nullptr));
    EXPECT_EQ(answer_, EmptyPage("metadatas")) << type;
    EXPECT_EQ(total_ + count_, 0u);
  }
  EXPECT_FALSE(Browse(VIDEO_TABLE_MOVIE, static_cast<_VIDEO_CATEGORY_>(9), nullptr));
  EXPECT_FALSE(Browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, nullptr, ULONG_MAX, 1));
  EXPECT_EQ(answer_, EmptyPage("metadatas"));
}

}  // namespace
}  // namespace kinolot_test
