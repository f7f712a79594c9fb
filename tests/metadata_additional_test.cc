// Additional information on its own: which pieces each kind serves, how the
// page's ids become one query per piece, how groups find their items, and
// items that cannot take part.
#include <gtest/gtest.h>

#include <string>

#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class MetadataAdditionalTest : public MetadataTest {
 protected:
  static Json::Value Items(std::initializer_list<std::pair<const char*, const char*>> ids) {
    Json::Value items(Json::arrayValue);
    for (const auto& id : ids) {
      Json::Value item(Json::objectValue);
      item["id"] = id.first;
      item["mapper_id"] = id.second;
      items.append(item);
    }
    return items;
  }
  void Handle(_VIDEO_TABLE_TYPE_ type, unsigned int bits, const char* table, Json::Value& items) {
    api_.AdditionalHandler(type, static_cast<_VIDEO_ADDITIONAL_>(bits), table, items);
  }
};

TEST_F(MetadataAdditionalTest, EachKindSkipsWhatDoesNotApplyToIt) {
  AddLibrary();
  struct Case {
    _VIDEO_TABLE_TYPE_ type;
    const char* table;
    unsigned int bits;
    int queries;
  } cases[] = {
      {VIDEO_TABLE_MOVIE, "movie", 0x4, 0},
      {VIDEO_TABLE_MOVIE, "movie", 0x4 | 0x8, 2},
      {VIDEO_TABLE_TVSHOW_EPISODE, "tvshow_episode", 0x4, 0},
      {VIDEO_TABLE_TVSHOW, "tvshow", 0x8 | 0x100, 0},
      {VIDEO_TABLE_TVSHOW, "tvshow", 0x2 | 0x8, 2},
      {VIDEO_TABLE_HOME_VIDEO, "home_video", 0x2 | 0x4, 0},
      {VIDEO_TABLE_HOME_VIDEO, "home_video", 0x1, 1},
      {VIDEO_TABLE_TV_RECORD, "tv_record", 0x200, 0},
      {VIDEO_TABLE_TV_RECORD, "tv_record", 0x2, 1},
      {VIDEO_TABLE_TV_RECORD, "tv_record", 0, 0},
  };
  for (const Case& c : cases) {
    Json::Value items = Items({{"1", "1"}});
    MarkStatements();
    Handle(c.type, c.bits, c.table, items);
    EXPECT_EQ(static_cast<int>(Statements().size()), c.queries)
        << c.table << " " << c.bits << testing::PrintToString(Statements());
  }
}

TEST_F(MetadataAdditionalTest, ShowsGetEpisodesByIdAndEverythingElseByMapperId) {
  AddLibrary();
  Json::Value shows = Items({{"1", "6"}, {"2", "9"}});
  MarkStatements();
  Handle(VIDEO_TABLE_TVSHOW, 0x1 | 0x4, "tvshow", shows);
  EXPECT_TRUE(
      Received("SELECT * FROM tvshow_episode WHERE tvshow_id in (SELECT id FROM tvshow WHERE id=1 "
               "or id=2) "));
  EXPECT_TRUE(
      Received("SELECT * FROM summary WHERE mapper_id in (SELECT mapper_id FROM tvshow WHERE id=1 "
               "or id=2) "));
  ASSERT_EQ(shows[0]["additional"]["episode"].size(), 2u);
  EXPECT_EQ(shows[0]["additional"]["episode"][1]["episode"], Json::Value("2"));
  EXPECT_EQ(shows[0]["additional"]["summary"], Json::Value("Sum Show"));
  EXPECT_FALSE(shows[1].isMember("additional")) << "nothing matched show 2";

  // Two summaries of one video: the later row wins. Owners match by text.
  Exec("INSERT INTO summary(id, mapper_id, summary) VALUES (3, 1, 'Sum A, revised')");
  Json::Value movies = Items({{"1", "1"}, {"5", "5"}, {"3", "x"}});
  Handle(VIDEO_TABLE_MOVIE, 0x1 | 0x8, "movie", movies);
  EXPECT_EQ(movies[0]["additional"]["summary"], Json::Value("Sum A, revised"));
  EXPECT_EQ(movies[1]["additional"]["actor"][0], Json::Value("Cara Diaz"));
  EXPECT_FALSE(movies[1]["additional"].isMember("summary"));
  EXPECT_FALSE(movies[2].isMember("additional"));
}

TEST_F(MetadataAdditionalTest, ItemsWithoutADecimalIdDoNotTakePart) {
  AddLibrary();
  Json::Value items(Json::arrayValue);
  items.append(Json::Value("not an item"));
  items.append(Json::Value(Json::objectValue));
  Json::Value injected(Json::objectValue);
  injected["id"] = "1 or 1=1";
  injected["mapper_id"] = "1";
  items.append(injected);
  Json::Value numeric(Json::objectValue);
  numeric["id"] = 2;
  numeric["mapper_id"] = 2;
  numeric["additional"] = "kept";
  items.append(numeric);
  MarkStatements();
  Handle(VIDEO_TABLE_MOVIE, 0x8, "movie", items);
  EXPECT_TRUE(
      Received("SELECT * FROM actor WHERE mapper_id in (SELECT mapper_id FROM movie WHERE id=2) "))
      << testing::PrintToString(Statements());
  EXPECT_EQ(items[3]["additional"], Json::Value("kept")) << "a non-object is not overwritten";
  EXPECT_FALSE(items[2].isMember("additional"));

  // Nothing to select, or nothing to attach to: no query at all.
  Json::Value noIds(Json::arrayValue);
  noIds.append(Json::Value(Json::objectValue));
  Json::Value notAnArray(Json::objectValue);
  notAnArray["id"] = "1";
  MarkStatements();
  Handle(VIDEO_TABLE_MOVIE, 0x1FF, "movie", noIds);
  Handle(VIDEO_TABLE_MOVIE, 0x1FF, "movie", notAnArray);
  api_.Additional("", "actor", {"id=1"}, noIds);
  Json::Value grouped("not an object");
  api_.SelectAdditional("movie", "actor", {"id=1"}, grouped);
  EXPECT_TRUE(Statements().empty());
  EXPECT_EQ(grouped, Json::Value("not an object"));
}

}  // namespace
}  // namespace kinolot_test
