// Additional information on its own: which pieces each kind serves, how the
// page's ids become one query per piece, how groups find their items, and
// items that cannot take part.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "kinolot/mapping_tables.h"
#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class MetadataAdditionalTest : public MetadataTest {
 protected:
  void Handle(_VIDEO_TABLE_TYPE_ type, unsigned int bits, const std::string& table,
              Json::Value& items) {
    api_.AdditionalHandler(type, static_cast<_VIDEO_ADDITIONAL_>(bits), table, items);
  }
};

TEST_F(MetadataAdditionalTest, EachKindSkipsWhatDoesNotApplyToIt) {
  // Kind, requested pieces and the number of queries they take.
  const std::tuple<_VIDEO_TABLE_TYPE_, unsigned int, size_t> cases[] = {
      {VIDEO_TABLE_MOVIE, 0x4, 0},          {VIDEO_TABLE_MOVIE, 0x4 | 0x8, 2},
      {VIDEO_TABLE_TVSHOW_EPISODE, 0x4, 0}, {VIDEO_TABLE_TVSHOW, 0x8 | 0x100, 0},
      {VIDEO_TABLE_TVSHOW, 0x2 | 0x8, 2},   {VIDEO_TABLE_HOME_VIDEO, 0x2 | 0x4, 0},
      {VIDEO_TABLE_HOME_VIDEO, 0x1, 1},     {VIDEO_TABLE_TV_RECORD, 0x200, 0},
      {VIDEO_TABLE_TV_RECORD, 0x2, 1},      {VIDEO_TABLE_TV_RECORD, 0, 0}};
  for (const auto& [type, bits, queries] : cases) {
    Json::Value items = Parse(R"([{"id": "1", "mapper_id": "1"}])");
    MarkStatements();
    Handle(type, bits, gMappingTable[type], items);
    EXPECT_EQ(Statements().size(), queries) << type << " " << bits;
  }
}

TEST_F(MetadataAdditionalTest, ShowsGetEpisodesByIdAndEverythingElseByMapperId) {
  Json::Value shows = Parse(R"([{"id": "1", "mapper_id": "6"}, {"id": "2", "mapper_id": "9"}])");
  MarkStatements();
  Handle(VIDEO_TABLE_TVSHOW, 0x1 | 0x4, "tvshow", shows);
  EXPECT_TRUE(
      Received("SELECT * FROM tvshow_episode WHERE tvshow_id in (SELECT id FROM tvshow WHERE id=1 "
               "or id=2) "));
  EXPECT_TRUE(
      Received("SELECT * FROM summary WHERE mapper_id in (SELECT mapper_id FROM tvshow WHERE id=1 "
               "or id=2) "));
  EXPECT_EQ(Column(shows[0]["additional"]["episode"], "episode"), "1,2");
  EXPECT_EQ(shows[0]["additional"]["summary"], Json::Value("Sum Show"));
  EXPECT_FALSE(shows[1].isMember("additional")) << "nothing matched show 2";

  // Two summaries of one video: the later row wins. Owners match by text.
  Exec("INSERT INTO summary(id, mapper_id, summary) VALUES (3, 1, 'Sum A, revised')");
  Json::Value movies = Parse(R"([{"id": "1", "mapper_id": "1"}, {"id": "5", "mapper_id": "5"},
    {"id": "3", "mapper_id": "x"}])");
  Handle(VIDEO_TABLE_MOVIE, 0x1 | 0x8, "movie", movies);
  EXPECT_EQ(movies[0]["additional"]["summary"], Json::Value("Sum A, revised"));
  EXPECT_EQ(movies[1]["additional"], Parse(R"({"actor": ["Cara Diaz"]})"));
  EXPECT_FALSE(movies[2].isMember("additional"));
}

TEST_F(MetadataAdditionalTest, ItemsWithoutADecimalIdDoNotTakePart) {
  Json::Value items = Parse(R"(["not an item", {}, {"id": "1 or 1=1", "mapper_id": "1"},
    {"id": 2, "mapper_id": 2, "additional": "kept"}])");
  MarkStatements();
  Handle(VIDEO_TABLE_MOVIE, 0x8, "movie", items);
  EXPECT_TRUE(
      Received("SELECT * FROM actor WHERE mapper_id in (SELECT mapper_id FROM movie WHERE id=2) "))
      << testing::PrintToString(Statements());
  EXPECT_EQ(items[3]["additional"], Json::Value("kept")) << "a non-object is not overwritten";
  EXPECT_FALSE(items[2].isMember("additional"));

  // Nothing to select, or nothing to attach to: no query at all.
  Json::Value noIds = Parse("[{}]");
  Json::Value notAnArray = Parse(R"({"id": "1"})");
  Json::Value grouped("not an object");
  MarkStatements();
  Handle(VIDEO_TABLE_MOVIE, 0x1FF, "movie", noIds);
  Handle(VIDEO_TABLE_MOVIE, 0x1FF, "movie", notAnArray);
  api_.Additional("", "actor", {"id=1"}, noIds);
  api_.SelectAdditional("movie", "actor", {"id=1"}, grouped);
  // Table names and id conditions stand unquoted in the query: anything but
  // plain names and "id=<number>" is refused.
  Json::Value found(Json::objectValue);
  api_.SelectAdditional("movie WHERE 1=1) OR (1=1", "actor", {"id=1"}, found);
  api_.SelectAdditional("movie", "actor a, summary", {"id=1"}, found);
  api_.SelectAdditional("movie", "actor", {"id=1", "id=1) OR (1=1"}, found);
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
  EXPECT_EQ(grouped, Json::Value("not an object"));
  EXPECT_EQ(found, Json::Value(Json::objectValue));
}

}  // namespace
}  // namespace kinolot_test
