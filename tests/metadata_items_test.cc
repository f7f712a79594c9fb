// The JSON items of the metadata API's wire format from hand-made rows, for
// the values that a small library does not produce, and the helpers over
// finished answers. Items of real rows are checked with List and GetInfo.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class MetadataItemsTest : public MetadataTest {
 protected:
  // A row with every field empty or 0 but the ones named.
  static _VIDEO_INFO_ALL_ Row(unsigned long id, const char* title) {
    _VIDEO_INFO_ALL_ row;
    memset(&row, 0, sizeof(row));
    row.id = id;
    strcpy(row.title, title);
    return row;
  }
};

TEST_F(MetadataItemsTest, EachKindAndDetailHasItsOwnShape) {
  _VIDEO_INFO_ALL_ row = Row(4, "T");
  row.tvshow_id = 2;
  row.mapper_id = 40;
  row.tvshow_mapper_id = 20;
  row.season = 3;
  row.episode = 11;
  strcpy(row.tag_line, "Tag");
  strcpy(row.year, "2009");
  strcpy(row.tvshow_year, "2001");
  strcpy(row.tvshow_originally_available, "2001-02-03");
  strcpy(row.record_time, "2012-06-01 10:00:00");
  strcpy(row.channel_name, "Arte");
  strcpy(row.type, "movie");
  strcpy(row.create_date, "2020-01-01 00:00:00");
  row.collection_id = 9;

  Json::Value items;
  for (_VIDEO_TABLE_TYPE_ type :
       {VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_TABLE_HOME_VIDEO, VIDEO_TABLE_TV_RECORD,
        VIDEO_TABLE_COLLECTION_MAP, VIDEO_TABLE_TVSHOW, VIDEO_TABLE_COLLECTION,
        VIDEO_TABLE_VIDEO_FILE}) {
    api_.DBdataToArrayHandler(type, row, items);
  }
  // The last two tables are not listed kinds and add nothing. Without a lock
  // text there is no "metadata_locked" at all; only "season" and "episode"
  // of the episode item are numbers.
  EXPECT_EQ(items, Parse(R"([
    {"id": "4", "tvshow_id": "2", "title": "T", "tagline": "Tag", "original_available": "2009",
     "season": 3, "episode": 11, "tvshow_mapper_id": "20",
     "tvshow_original_available": "2001-02-03", "mapper_id": "40"},
    {"id": "4", "title": "T", "record_date": "2012-06-01 10:00:00", "mapper_id": "40"},
    {"id": "4", "title": "T", "record_date": "2012-06-01 10:00:00", "channel_name": "Arte",
     "mapper_id": "40"},
    {"id": "4", "title": "T", "time": "2009", "type": "movie", "mapper_id": "40"},
    {"id": "4", "title": "T", "original_available": "2009", "mapper_id": "40"}])"));

  // The episode detail has text numbers and "tag_line"; a collection is
  // named by its collection id.
  Json::Value episode, collection;
  api_.CreateTVshowEpisode(row, episode);
  EXPECT_EQ(episode, Parse(R"({"season": "3", "episode": "11", "tag_line": "Tag",
    "create_date": "2020-01-01 00:00:00", "modify_date": ""})"));
  api_.CreateCollectionObject(row, collection);
  EXPECT_EQ(collection, Parse(R"({"id": "9", "title": "T"})"));

  // Browse entries: a name with its row id, a year as both, and an entry
  // of an unknown category still appended.
  strcpy(row.actor, "Ann");
  Json::Value entries;
  for (int category : {int(VIDEO_CATEGORY_ACTOR), int(VIDEO_CATEGORY_YEAR), 9}) {
    api_.DBdataToMetadataArray(static_cast<_VIDEO_CATEGORY_>(category), row, entries);
  }
  EXPECT_EQ(entries, Parse(R"([{"id": "4", "name": "Ann"}, {"id": "2009", "name": "2009"},
    {"id": "", "name": ""}])"));

  // Both dates empty give "" rather than a missing key.
  row.year[0] = '\0';
  row.tvshow_originally_available[0] = '\0';
  Json::Value episodes;
  api_.DBdataToTVEpisodesArray(row, episodes);
  EXPECT_EQ(episodes[0]["original_available"], Json::Value(""));
  EXPECT_EQ(episodes[0]["tvshow_original_available"], Json::Value("2001"));
}

TEST_F(MetadataItemsTest, ShowsAreListedOnceButDifferingShowsTwice) {
  _VIDEO_INFO_ALL_ row = Row(1, "Show");
  strcpy(row.isLock, "f");
  Json::Value shows;
  api_.DBdataToTVshowArray(row, shows);
  api_.DBdataToTVshowArray(row, shows);
  strcpy(row.isLock, "t");
  api_.DBdataToTVshowArray(row, shows);
  EXPECT_EQ(Column(shows, "metadata_locked"), "false,true");

  // The same rule for any value; values that cannot be listed are refused.
  Json::Value list;
  api_.AppendObjectToArray(Json::Value(5), list);
  EXPECT_TRUE(list.isNull()) << "a number is not appended to a null array";
  for (const Json::Value& value : {Json::Value("a"), Json::Value("a"), Json::Value(5)}) {
    api_.AppendObjectToArray(value, list);
    api_.AppendObjectToArray(value, list);
  }
  EXPECT_EQ(list, Parse(R"(["a", 5])"));
  Json::Value notAnArray = Parse(R"({"x": 1})");
  api_.AppendObjectToArray(shows[0], notAnArray);
  api_.DBdataToMovieArray(row, notAnArray);
  EXPECT_EQ(notAnArray, Parse(R"({"x": 1})"));
}

TEST_F(MetadataItemsTest, DurationsWrapAtSixtyHours) {
  const std::pair<unsigned int, const char*> cases[] = {
      {0, "0:00:00"},          {59, "0:00:59"},     {3725, "1:02:05"},
      {86399, "23:59:59"},     {216000, "0:00:00"}, {216000 + 3 * 3600 + 61, "3:01:01"},
      {4294967295u, "6:28:15"}};
  for (const auto& c : cases) EXPECT_EQ(api_.CreateDurationFormat(c.first), c.second) << c.first;
}

TEST_F(MetadataItemsTest, FindsTheFirstItemWithAnId) {
  Json::Value items = Parse(R"([{"title": "no id"}, 5, {"id": "7"}, {"id": 8}, {"id": "7"}])");
  unsigned int index = 99;
  EXPECT_TRUE(api_.VerifyExistInJsonArray("7", items, index));
  EXPECT_EQ(index, 2u);
  EXPECT_TRUE(api_.VerifyExistInJsonArray("8", items, index));
  EXPECT_EQ(index, 3u);
  index = 99;
  EXPECT_FALSE(api_.VerifyExistInJsonArray("07", items, index));
  EXPECT_FALSE(api_.VerifyExistInJsonArray("", items, index));
  EXPECT_FALSE(api_.VerifyExistInJsonArray("7", Parse(R"({"id": "7"})"), index));
  EXPECT_EQ(index, 99u);
}

TEST_F(MetadataItemsTest, WritesJsonToTheScratchFile) {
  const char kPath[] = "/volume1/@tmp/output";
  bool madeVolume = mkdir("/volume1", 0755) == 0;
  bool madeDir = mkdir("/volume1/@tmp", 0755) == 0;
  bool hadFile = access(kPath, F_OK) == 0;
  if (!(std::ofstream(kPath) << "an earlier, longer dump that must not survive")) {
    if (madeVolume) rmdir("/volume1");
    GTEST_SKIP() << "cannot write " << kPath;
  }
  auto written = [&](const Json::Value& value) {
    EXPECT_EQ(api_.WriteJsonToFile(value), 0);
    std::stringstream text;
    text << std::ifstream(kPath).rdbuf();
    return text.str();
  };
  Json::Value value = Parse(R"({"movies": [{"id": "1", "title": "Alpha"}], "total": 1})");
  std::string text = written(value);
  EXPECT_EQ(Parse(text), value);
  EXPECT_NE(text.find("\n\t\"movies\""), std::string::npos) << text;
  EXPECT_EQ(written(Json::Value(Json::objectValue)), "{}\n");

  if (!hadFile) unlink(kPath);
  if (madeDir) rmdir("/volume1/@tmp");
  if (madeVolume) rmdir("/volume1");
}

}  // namespace
}  // namespace kinolot_test
