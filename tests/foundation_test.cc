// The shared vocabulary: type names, the table-type maps, the row record and
// the text helpers.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "foundation/video_types.h"
#include "kinolot/mapping_tables.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_types.h"

using namespace LibKinolot;

namespace {

TEST(VideoTypeNames, NameEveryTypeAndFallBackToInvalid) {
  EXPECT_STREQ(VideoTypeGetName(VIDEO_TYPE_MOVIE), "movie");
  EXPECT_STREQ(VideoTypeGetName(VIDEO_TYPE_TVSHOW_EPISODE), "tvshow_episode");
  EXPECT_STREQ(VideoTypeGetName(VIDEO_TYPE_VIDEO_FILE), "video_file");
  EXPECT_STREQ(VideoTypeGetName(VIDEO_TYPE_INVALID), "invalid");
  EXPECT_STREQ(VideoTypeGetName(static_cast<_VIDEO_TYPE_>(7)), "invalid");
  EXPECT_STREQ(VideoTypeGetName(static_cast<_VIDEO_TYPE_>(-1)), "invalid");
}

TEST(VideoTypeNames, TableNamesKeepTheSchemaSpelling) {
  EXPECT_STREQ(VideoTableTypeGetName(VIDEO_TABLE_POSTER), "poster");
  EXPECT_STREQ(VideoTableTypeGetName(VIDEO_TABLE_GNERE), "gnere");
  EXPECT_STREQ(VideoTableTypeGetName(VIDEO_TABLE_MAPPER), "mapper");
  EXPECT_STREQ(VideoTableTypeGetName(static_cast<_VIDEO_TABLE_TYPE_>(17)), "invalid");
  EXPECT_STREQ(VideoTableTypeGetName(VIDEO_TABLE_INVALID), "invalid");
}

TEST(VideoTypeNames, GetTypeNeverMapsANameToAType) {
  EXPECT_EQ(VideoTypeGetType("movie"), 0);
  EXPECT_EQ(VideoTypeGetType("MOVIE"), 0);
  EXPECT_EQ(VideoTypeGetType("tvshow_episode"), 0);
  EXPECT_EQ(VideoTypeGetType("no such type"), 0);
  EXPECT_EQ(VideoTypeGetType(nullptr), 0);
}

TEST(RowRecord, IsAFlatRecordOfTheStatedCapacities) {
  _VIDEO_INFO_ALL_ row;
  EXPECT_EQ(sizeof(row.title), 255u);
  EXPECT_EQ(sizeof(row.summary), 4096u);
  EXPECT_EQ(sizeof(row.year), 10u);
  EXPECT_EQ(sizeof(row.isLock), 12u);
  EXPECT_EQ(sizeof(row.type), 50u);
  EXPECT_EQ(sizeof(row.path), 4096u);
  EXPECT_EQ(sizeof(row.filesize), 8u);
  EXPECT_TRUE(std::is_trivially_copyable<_VIDEO_INFO_ALL_>::value);
}

TEST(MappingTables, HoldExactlyTheirKeys) {
  MappingTable table;
  EXPECT_EQ(table.size(), 15u);
  EXPECT_EQ(table.count(8), 0u) << "the poster table is never reached through the map";
  EXPECT_EQ(table.count(0), 0u);
  for (unsigned int type = 1; type <= 16; ++type) {
    if (type == 8) continue;
    EXPECT_EQ(table[type], VideoTableTypeGetName(static_cast<_VIDEO_TABLE_TYPE_>(type)));
  }
  MappingKeyName keys;
  EXPECT_EQ(keys.size(), 5u);
  EXPECT_EQ(keys[1], "movies");
  EXPECT_EQ(keys[3], "episodes");
  EXPECT_EQ(keys[5], "recordings");
}

TEST(MappingTables, LookingUpAnAbsentKeyAddsAnEmptyEntry) {
  MappingTable table;
  EXPECT_EQ(table[8], "");
  EXPECT_EQ(table.size(), 16u);
  MappingKeyName keys;
  EXPECT_EQ(keys[13], "");
  EXPECT_EQ(keys.size(), 6u);
}

TEST(MappingTables, GlobalInstancesAreBuiltAtLoad) {
  EXPECT_EQ(gMappingTable[VIDEO_TABLE_VIDEO_FILE], "video_file");
  EXPECT_EQ(gMappingKeyName[VIDEO_TABLE_TVSHOW], "tvshows");
}

TEST(StringHelpers, ValueCheckTurnsNullIntoEmptyText) {
  EXPECT_EQ(szValueCheck(nullptr), "");
  EXPECT_EQ(szValueCheck(""), "");
  EXPECT_EQ(szValueCheck("Amélie"), "Amélie");
}

TEST(StringHelpers, ImplodePutsTheSeparatorBetweenNeighboursOnly) {
  EXPECT_EQ(StringImplode({"a", "b", "c"}, " and "), "a and b and c");
  EXPECT_EQ(StringImplode({"only"}, ","), "only");
  EXPECT_EQ(StringImplode({}, ","), "");
  EXPECT_EQ(StringImplode({"", ""}, "|"), "|");
  EXPECT_EQ(StringImplode({"x", "y"}, nullptr), "xy");
}

TEST(StringHelpers, ExplodeSplitsAtAnyDelimiterAndDropsEmptyTokens) {
  EXPECT_EQ(StringExplode(",a,,b,", ","), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(StringExplode("a b,c", ", "), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_TRUE(StringExplode("", ",").empty());
  EXPECT_TRUE(StringExplode("|||", "|").empty());
  EXPECT_EQ(StringExplode("Björk|Sigur Rós", "|"),
            (std::vector<std::string>{"Björk", "Sigur Rós"}));
  EXPECT_EQ(StringExplode("no delimiter", ""), (std::vector<std::string>{"no delimiter"}));
}

TEST(StringHelpers, ExplodeAndImplodeRoundTripANameList) {
  std::string names = "Ann O'Neil|J. \"Doc\" Smith|50% Man|C:\\dir";
  EXPECT_EQ(StringImplode(StringExplode(names, "|"), "|"), names);
}

TEST(StringHelpers, SqlEscapeDoublesQuotesForThisLibrarysConnections) {
  EXPECT_EQ(SQLEscapeString("It's"), "It''s");
  EXPECT_EQ(SQLEscapeString(""), "");
  EXPECT_EQ(SQLEscapeString("back\\slash"), "back\\slash");
}

}  // namespace
