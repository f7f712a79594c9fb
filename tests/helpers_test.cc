// The helpers that need no database: type names, text helpers, and the sort
// titles and release dates derived from what the scanner found.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "foundation/video_types.h"
#include "kinolot/string_helpers.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using Texts = std::vector<std::string>;

std::string SortTitle(const std::string& title) {
  char out[255];
  memset(out, 'x', sizeof(out));
  filterTitle(out, title.c_str());
  return out;
}

TEST(FilterTitle, DropsStopWordsAsWholeWordsAndReadsAtMost255Bytes) {
  const std::pair<const char*, const char*> cases[] = {
      {"The Lord of the Rings", "Lord Rings "},
      {"THE the The tHe", ""},
      {"Theory At Once", "Theory Once "},
      {"A Man For All Seasons By Night In On An", "Man All Seasons Night "},
      {"  Big   Fish ", "Big Fish "},
      {"the\tEnd", "the\tEnd "},
      {"It's 100% Ärger", "It's 100% Ärger "},
      {"", ""},
  };
  for (const auto& [title, sorted] : cases) EXPECT_EQ(SortTitle(title), sorted) << title;
  char out[255] = "old";
  filterTitle(out, nullptr);
  EXPECT_STREQ(out, "");
  filterTitle(nullptr, "The End");  // nothing to write into: no crash

  // At most 255 bytes are read, and a letter is never split.
  EXPECT_EQ(SortTitle(std::string(250, 'x') + " the Zebra"), std::string(250, 'x') + " ");
  std::string umlauts;
  for (int i = 0; i < 140; ++i) umlauts += "\xC3\xA4";
  std::string sorted = SortTitle(umlauts);
  EXPECT_GE(sorted.size(), 252u);
  EXPECT_LE(sorted.size(), 254u);
  EXPECT_EQ(sorted, umlauts.substr(0, sorted.size() & ~size_t{1}));
  // A field filled to its last byte has no terminator; the heap block ends
  // right there, so reading past it would be caught by the sanitizer build.
  std::vector<char> full(255, 'T');
  filterTitle(out, full.data());
  EXPECT_EQ(std::string(out), std::string(254, 'T'));
}

TEST(ParseYearDate, ReadsYearsAndDatesAndDropsTheTimeOfDay) {
  const struct {
    const char *text, *date, *sortTime;
    int year;
    bool full;
  } cases[] = {
      {"2009-05-01", "2009-05-01", "2009-05-01", 2009, true},
      {"2009-05-01 20:15:00", "2009-05-01", "2009-05-01", 2009, true},
      {"2009", "", "2009-01-01", 2009, false},
      {"1999-13-01", "", "1999-01-01", 1999, false},
      {"20091", "", "20091-01-01", 20091, false},  // every leading digit counts
      {"unknown", "", "", 0, false},
  };
  for (const auto& c : cases) {
    int year = -7;
    char date[32] = "stale", sortTime[32] = "stale";
    char* result = parseYearDate(&year, date, sortTime, c.text);
    EXPECT_EQ((std::vector<std::string>{date, sortTime}),
              (std::vector<std::string>{c.date, c.sortTime}))
        << c.text;
    EXPECT_EQ(year, c.year) << c.text;
    EXPECT_EQ(result, c.full ? sortTime : nullptr) << c.text;
  }
  // In place, and no further than 32 bytes into an unterminated field.
  char date[32] = "2010-02-03T10:00", sortTime[32];
  int year = 0;
  parseYearDate(&year, date, sortTime, date);
  EXPECT_STREQ(date, "2010-02-03");
  std::vector<char> full(32, '9');
  memcpy(full.data(), "2011-04-05", 10);
  parseYearDate(&year, date, sortTime, full.data());
  EXPECT_STREQ(date, "2011-04-05");
  EXPECT_EQ(parseYearDate(nullptr, date, sortTime, "2009"), nullptr);
  EXPECT_EQ(parseYearDate(&year, date, sortTime, nullptr), nullptr);
}

// What each kind derives is checked through the statements of a save; here
// the derivations a save does not show.
TEST(FillVideoInfo, DerivesTheShowsDatesAndReadsUnterminatedTitlesToTheirEnd) {
  // The show's dates are derived even when the episode's own are set, whose
  // sort time then keeps them from being parsed.
  _VIDEO_INFO_TVSHOW_ episode = Episode("The Wire", 2002, 1, 2);
  Set(episode.tvshow_originally_available, "2002-06-02");
  Set(episode.originally_available, "2002-06-09");
  Set(episode.sort_time, "2002-06-09");
  FillVideoInfo(&episode);
  EXPECT_STREQ(episode.tvshow_sort_time, "2002-06-02");
  EXPECT_EQ(episode.year, 0);
  FillVideoInfo(nullptr);

  // A title written with strncpy to the full capacity has no terminator.
  _VIDEO_INFO_ movie = Movie("", 0);
  memset(movie.title, 'T', sizeof(movie.title));
  FillVideoInfo(&movie);
  EXPECT_EQ(strlen(movie.sort_title), sizeof(movie.sort_title) - 1);
  movie.actor = {"A"};
  movie.plus_info["rating"] = 8;
  movie.Clear();
  EXPECT_EQ(movie.type, VIDEO_TYPE_INVALID);
  EXPECT_TRUE(movie.title[0] == '\0' && movie.actor.empty() && movie.plus_info.isNull());
}

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
}  // namespace kinolot_test
