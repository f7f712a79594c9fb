// Sort titles and release dates derived from what the scanner found; no
// database involved.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kinolot/video_info_store.h"
#include "video_info_test_util.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

std::string SortTitle(const std::string& title) {
  char out[255];
  memset(out, 'x', sizeof(out));
  filterTitle(out, title.c_str());
  return out;
}

TEST(FilterTitle, DropsStopWordsAnywhereInAnyCaseAsWholeWords) {
  EXPECT_EQ(SortTitle("The Lord of the Rings"), "Lord Rings ");
  EXPECT_EQ(SortTitle("Of Mice"), "Mice ");
  EXPECT_EQ(SortTitle("THE the The tHe"), "");
  EXPECT_EQ(SortTitle("Theory At Once"), "Theory Once ");
  EXPECT_EQ(SortTitle("A Man For All Seasons By Night In On An"), "Man All Seasons Night ");
  // Only blanks split: runs of them leave no empty words, a tab is a letter.
  EXPECT_EQ(SortTitle("  Big   Fish "), "Big Fish ");
  EXPECT_EQ(SortTitle("the\tEnd"), "the\tEnd ");
  EXPECT_EQ(SortTitle("It's 100% Ärger"), "It's 100% Ärger ");
  EXPECT_EQ(SortTitle(""), "");
  char out[255] = "old";
  filterTitle(out, nullptr);
  EXPECT_STREQ(out, "");
  filterTitle(nullptr, "The End");  // nothing to write into: no crash
}

TEST(FilterTitle, CountsOnlyTheFirst255BytesAndStaysInsideTheField) {
  EXPECT_EQ(SortTitle(std::string(250, 'x') + " the Zebra"), std::string(250, 'x') + " ");
  // One word filling the whole field leaves no room for the blank; a cut
  // never splits a two-byte letter.
  std::string umlauts;
  for (int i = 0; i < 140; ++i) umlauts += "\xC3\xA4";
  std::string sorted = SortTitle(umlauts);
  EXPECT_LE(sorted.size(), 254u);
  EXPECT_EQ(sorted.size() % 2, 0u);
  EXPECT_EQ(sorted, umlauts.substr(0, sorted.size()));
  EXPECT_GE(sorted.size(), 252u);

  // A title field filled to its last byte has no terminator; the heap block
  // ends right there, so reading past it would be caught by the sanitizer
  // build.
  std::vector<char> full(255, 'T');
  char out[255];
  filterTitle(out, full.data());
  EXPECT_EQ(std::string(out), std::string(254, 'T'));
}

struct DateCase {
  const char* text;
  int year;
  const char* date;
  const char* sortTime;
  bool full;
};

TEST(ParseYearDate, ReadsYearsAndDatesAndDropsTheTimeOfDay) {
  const DateCase cases[] = {
      {"2009-05-01", 2009, "2009-05-01", "2009-05-01", true},
      {"2009-05-01 20:15:00", 2009, "2009-05-01", "2009-05-01", true},
      {"2009", 2009, "", "2009-01-01", false},
      {"1999-13-01", 1999, "", "1999-01-01", false},
      {"20091", 20091, "", "20091-01-01", false},  // every leading digit counts
      {"", 0, "", "", false},
      {"unknown", 0, "", "", false},
  };
  for (const DateCase& c : cases) {
    SCOPED_TRACE(c.text);
    int year = -7;
    char date[32] = "stale";
    char sortTime[32] = "stale";
    char* result = parseYearDate(&year, date, sortTime, c.text);
    EXPECT_EQ(year, c.year);
    EXPECT_STREQ(date, c.date);
    EXPECT_STREQ(sortTime, c.sortTime);
    EXPECT_EQ(result, c.full ? sortTime : nullptr);
  }
}

TEST(ParseYearDate, WorksInPlaceAndReadsNoFurtherThan32Bytes) {
  char date[32] = "2010-02-03T10:00";
  char sortTime[32];
  int year = 0;
  parseYearDate(&year, date, sortTime, date);
  EXPECT_STREQ(date, "2010-02-03");
  EXPECT_EQ(year, 2010);

  // A field filled to its last byte has no terminator; the heap block ends
  // right there, so reading past it would be caught by the sanitizer build.
  std::vector<char> full(32, '9');
  memcpy(full.data(), "2011-04-05", 10);
  parseYearDate(&year, date, sortTime, full.data());
  EXPECT_STREQ(date, "2011-04-05");

  EXPECT_EQ(parseYearDate(nullptr, date, sortTime, "2009"), nullptr);
  EXPECT_EQ(parseYearDate(&year, date, sortTime, nullptr), nullptr);
  EXPECT_EQ(year, 0);
}

TEST(FillVideoInfo, DerivesByTypeAndKeepsDatesTheCallerSet) {
  _VIDEO_INFO_ movie = Movie("The Matrix", 0);
  Set(movie.sort_title, "caller value");
  Set(movie.originally_available, "1999-03-31 12:00");
  FillVideoInfo(&movie);
  EXPECT_STREQ(movie.sort_title, "Matrix ");
  EXPECT_EQ(movie.year, 1999);
  EXPECT_STREQ(movie.originally_available, "1999-03-31");
  EXPECT_STREQ(movie.sort_time, "1999-03-31");

  _VIDEO_INFO_ own = Movie("Heat", 1995);
  Set(own.originally_available, "1995-12-15");
  Set(own.sort_time, "2001-01-01 10:00:00");
  FillVideoInfo(&own);
  EXPECT_EQ(own.year, 1995);
  EXPECT_STREQ(own.originally_available, "1995-12-15");
  EXPECT_STREQ(own.sort_time, "2001-01-01 10:00:00");

  // The show's dates are derived even when the episode's own are set.
  _VIDEO_INFO_TVSHOW_ episode = Episode("The Wire", 0, 1, 2);
  Set(episode.tvshow_originally_available, "2002-06-02");
  Set(episode.originally_available, "2002-06-09");
  Set(episode.sort_time, "2002-06-09");
  FillVideoInfo(&episode);
  EXPECT_STREQ(episode.sort_title, "Wire ");
  EXPECT_EQ(episode.tvshow_year, 2002);
  EXPECT_STREQ(episode.tvshow_sort_time, "2002-06-02");
  EXPECT_EQ(episode.year, 0) << "the episode's own sort time suppresses its parsing";

  _VIDEO_INFO_ home = Recording(VIDEO_TYPE_HOME_VIDEO, "At the Beach", "");
  Set(home.originally_available, "2003-01-01");
  FillVideoInfo(&home);
  EXPECT_STREQ(home.sort_title, "Beach ");
  EXPECT_EQ(home.year, 0);
  EXPECT_STREQ(home.sort_time, "");

  _VIDEO_INFO_VIDEO_FILE_ file = FileRecord("/v/The File.mkv");
  Set(file.title, "The File");
  FillVideoInfo(&file);
  EXPECT_STREQ(file.sort_title, "");
  FillVideoInfo(nullptr);
}

TEST(FillVideoInfo, ASecondCallChangesNothingButABareYearIsGoneAfterTheFirst) {
  _VIDEO_INFO_ info = Movie("Alien", 0);
  Set(info.originally_available, "1979");
  FillVideoInfo(&info);
  EXPECT_EQ(info.year, 1979);
  EXPECT_STREQ(info.originally_available, "");
  EXPECT_STREQ(info.sort_time, "1979-01-01");
  _VIDEO_INFO_ again = info;
  FillVideoInfo(&again);
  EXPECT_EQ(again.year, info.year);
  EXPECT_STREQ(again.sort_time, info.sort_time);
  EXPECT_STREQ(again.sort_title, info.sort_title);
}

TEST(VideoInfoRecord, ClearsCopiesAndTerminatesAnOverfullTitle) {
  _VIDEO_INFO_ info = Movie("Up", 2009);
  info.actor = {"A", "B"};
  info.plus_info["rating"] = 8;
  _VIDEO_INFO_ copy = info;
  info.Clear();
  EXPECT_EQ(info.type, VIDEO_TYPE_INVALID);
  EXPECT_STREQ(info.title, "");
  EXPECT_TRUE(info.actor.empty());
  EXPECT_TRUE(info.plus_info.isNull());
  EXPECT_STREQ(copy.title, "Up");
  EXPECT_EQ(copy.actor.size(), 2u);
  EXPECT_EQ(copy.plus_info["rating"].asInt(), 8);

  // A title written with strncpy to the full capacity has no terminator.
  memset(copy.title, 'T', sizeof(copy.title));
  FillVideoInfo(&copy);
  EXPECT_EQ(strlen(copy.title), sizeof(copy.title) - 1);
  EXPECT_EQ(strlen(copy.sort_title), sizeof(copy.sort_title) - 1);
}

}  // namespace
}  // namespace kinolot_test
