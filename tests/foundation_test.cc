// The shared vocabulary: type names and the text helpers. The table-type
// maps are read by every listing, whose tests show each entry.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/video_types.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_types.h"

using namespace LibKinolot;

namespace {

using Texts = std::vector<std::string>;

TEST(VideoTypeNames, NameKnownTypesAndFallBackToInvalidOutsideTheRange) {
  EXPECT_STREQ(VideoTypeGetName(VIDEO_TYPE_TVSHOW_EPISODE), "tvshow_episode");
  EXPECT_STREQ(VideoTableTypeGetName(VIDEO_TABLE_GNERE), "gnere");
  for (int outside : {-1, 7, 17}) {
    EXPECT_STREQ(VideoTypeGetName(static_cast<_VIDEO_TYPE_>(outside)), "invalid");
    if (outside != 7) {
      EXPECT_STREQ(VideoTableTypeGetName(static_cast<_VIDEO_TABLE_TYPE_>(outside)), "invalid");
    }
  }
  // A name is deliberately never mapped back to its type.
  EXPECT_EQ(VideoTypeGetType("movie"), VIDEO_TYPE_INVALID);
  EXPECT_EQ(VideoTypeGetType(nullptr), VIDEO_TYPE_INVALID);
}

TEST(StringHelpers, SplitJoinAndEscapeTexts) {
  EXPECT_EQ(szValueCheck(nullptr), "");
  EXPECT_EQ(szValueCheck("Amélie"), "Amélie");
  EXPECT_EQ(StringImplode({"a", "b", "c"}, " and "), "a and b and c");
  EXPECT_EQ(StringImplode({}, ","), "");
  EXPECT_EQ(StringImplode({"", ""}, "|"), "|");
  EXPECT_EQ(StringImplode({"x", "y"}, nullptr), "xy");
  // Any delimiter character splits; empty tokens are dropped.
  EXPECT_EQ(StringExplode(",a,,b,", ","), (Texts{"a", "b"}));
  EXPECT_EQ(StringExplode("a b,c", ", "), (Texts{"a", "b", "c"}));
  EXPECT_TRUE(StringExplode("|||", "|").empty());
  EXPECT_EQ(StringExplode("Björk|Sigur Rós", "|"), (Texts{"Björk", "Sigur Rós"}));
  EXPECT_EQ(StringExplode("no delimiter", ""), (Texts{"no delimiter"}));
  // Quotes are doubled; backslashes are plain letters on these connections.
  EXPECT_EQ(SQLEscapeString("It's \\"), "It''s \\");
}

}  // namespace
