// Updating items in place on the small library of the metadata tests: what
// each kind takes from an edit, the dates an edit keeps or derives, the name
// lists replaced whole, and the writes that stay when a later step fails.
#include <gtest/gtest.h>

#include <string>

#include "support/edit_form.h"
#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class MetadataUpdateTest : public MetadataTest {
 protected:
  int Update(_VIDEO_TABLE_TYPE_ type, const std::string& id, const EditForm& e) {
    return e.Update(api_, type, id);
  }
  // The entries of one list table for `mapperId`, in insertion order.
  std::string Names(const std::string& table, int mapperId) {
    return Value("SELECT coalesce(string_agg(" + table + ", '|' ORDER BY id), '') FROM " + table +
                 " WHERE mapper_id = " + std::to_string(mapperId));
  }
  std::string Row(const std::string& table, const std::string& columns, int id) {
    return Value("SELECT concat_ws(',', " + columns + ") FROM " + table +
                 " WHERE id = " + std::to_string(id));
  }
};

TEST_F(MetadataUpdateTest, MovieTakesEveryEditedValue) {
  EditForm e;
  e.title = "The Return of O'Brien";
  e.tagLine = "100% \\Proof\\";
  e.date = "2009";
  e.isLock = "false";
  e.summary = "Zoë's \"story\"";
  e.actor = "Zoë Ö|Ann Lee";
  e.writer = "W1";
  e.genre = "Drama|Comedy";
  e.plusInfo = R"({"rating": "7"})";
  ASSERT_EQ(Update(VIDEO_TABLE_MOVIE, "1", e), 1) << testing::PrintToString(LogLines());

  // A bare year gives no release date and the first of January to sort by.
  EXPECT_EQ(
      Row("movie", "title, sort_title, tag_line, year, originally_available, sort_time, isLock", 1),
      "The Return of O'Brien,Return O'Brien ,100% \\Proof\\,2009,2009-01-01 00:00:00,f");
  EXPECT_EQ(Value("SELECT originally_available IS NULL FROM movie WHERE id = 1"), "t");
  EXPECT_EQ(Value("SELECT summary FROM summary WHERE mapper_id = 1"), "Zoë's \"story\"");
  EXPECT_EQ(Value("SELECT plus_info FROM plus_info WHERE mapper_id = 1"), R"({"rating": "7"})");
  EXPECT_EQ(Names("actor", 1), "Zoë Ö|Ann Lee");
  EXPECT_EQ(Names("writer", 1), "W1");
  EXPECT_EQ(Names("director", 1), "");  // "Zed" is gone: an empty list is a list
  EXPECT_EQ(Names("gnere", 1), "Drama|Comedy");
  // Other videos keep their people.
  EXPECT_EQ(Names("actor", 2), "Ann Lee");

  // Without a date the stored dates stay; a full date sets all three.
  e.date = nullptr;
  e.title = "Alpha";
  ASSERT_EQ(Update(VIDEO_TABLE_MOVIE, "1", e), 1);
  EXPECT_EQ(Row("movie", "year, sort_time", 1), "2009,2009-01-01 00:00:00");
  e.date = "1999-12-31";
  ASSERT_EQ(Update(VIDEO_TABLE_MOVIE, "1", e), 1);
  EXPECT_EQ(Row("movie", "year, originally_available, sort_time", 1),
            "1999,1999-12-31,1999-12-31 00:00:00");
}

TEST_F(MetadataUpdateTest, EachKindWritesItsOwnColumns) {
  EditForm e;
  e.title = "Renamed";
  e.isLock = "true";
  e.season = "3";
  e.episode = "7";
  e.tagLine = "Tag";
  e.date = "2011-02-03";
  e.actor = "Eve";
  // An episode's title is its show's and stays; season and episode change.
  ASSERT_EQ(Update(VIDEO_TABLE_TVSHOW_EPISODE, "1", e), 1);
  EXPECT_EQ(
      Row("tvshow_episode", "season, episode, tag_line, year, originally_available, isLock", 1),
      "3,7,Tag,2011,2011-02-03,t");
  EXPECT_EQ(Names("actor", 7), "Eve");
  EXPECT_EQ(Row("tvshow", "title", 1), "Show One");

  ASSERT_EQ(Update(VIDEO_TABLE_TVSHOW, "1", e), 1);
  EXPECT_EQ(Row("tvshow", "title, sort_title, year, isLock", 1), "Renamed,Renamed ,2011,t");

  // Home videos and recordings take no lock, no dates and no extra
  // information; a plus_info text given for them is ignored.
  e.recordTime = "2013-04-05 06:07:08";
  e.plusInfo = "{}";
  ASSERT_EQ(Update(VIDEO_TABLE_HOME_VIDEO, "1", e), 1);
  EXPECT_EQ(Row("home_video", "title, record_time, isLock", 1), "Renamed,2013-04-05 06:07:08,f");
  EXPECT_EQ(Names("actor", 10), "Eve");
  EXPECT_EQ(Value("SELECT count(*) FROM plus_info WHERE mapper_id = 10"), "0");

  e.channel = "Arte 2";
  ASSERT_EQ(Update(VIDEO_TABLE_TV_RECORD, "1", e), 1);
  EXPECT_EQ(Row("tv_record", "title, channel_name", 1), "Renamed,Arte 2");
  EXPECT_EQ(Names("actor", 12), "");
}

TEST_F(MetadataUpdateTest, RequiredValuesFailAfterTheSummaryIsWritten) {
  std::string movie = Row("movie", "title, isLock, modify_date", 1);
  EditForm e;
  e.title = "New";
  e.summary = "written anyway";
  e.plusInfo = R"({"x": "1"})";
  EXPECT_EQ(Update(VIDEO_TABLE_MOVIE, "1", e), -1);  // no isLock
  EXPECT_EQ(Row("movie", "title, isLock, modify_date", 1), movie);
  EXPECT_EQ(Value("SELECT summary FROM summary WHERE mapper_id = 1"), "written anyway");
  EXPECT_EQ(Value("SELECT plus_info FROM plus_info WHERE mapper_id = 1"), R"({"x": "1"})");
  EXPECT_EQ(Names("actor", 1), "Ann Lee|Bob Roe");

  e.isLock = "false";
  e.title = "";
  EXPECT_EQ(Update(VIDEO_TABLE_TVSHOW, "1", e), -1);
  EXPECT_EQ(Update(VIDEO_TABLE_HOME_VIDEO, "1", e), -1);
  e.title = "T";
  EXPECT_EQ(Update(VIDEO_TABLE_TV_RECORD, "1", e), -1);  // no channel
  // Outside the five kinds only the summary is written; the row update has
  // nothing to set and fails.
  EXPECT_EQ(Update(VIDEO_TABLE_SUMMARY, "1", e), -1);
}

TEST_F(MetadataUpdateTest, MissingItemsAndBadIdsWriteNothing) {
  std::string before = Fingerprint() + Value("SELECT max(modify_date) FROM summary");
  EditForm e;
  e.title = "X";
  e.isLock = "true";
  for (const char* id : {"", "99", "1 OR 1=1", "'1'"}) {
    EXPECT_EQ(Update(VIDEO_TABLE_MOVIE, id, e), -1) << id;
  }
  EXPECT_EQ(Update(static_cast<_VIDEO_TABLE_TYPE_>(42), "1", e), -1);
  EXPECT_FALSE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "1 OR 1=1", "true"));
  EXPECT_FALSE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "4294967297", "true"));  // not clamped
  EXPECT_FALSE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "2", ""));
  EXPECT_FALSE(api_.UpdateSummary("", "s"));
  EXPECT_FALSE(api_.UpdatePlusInfo("0 OR 1=1", "{}"));
  EXPECT_FALSE(api_.UpdateList("actor", "", "A"));
  EXPECT_FALSE(api_.UpdateList("", "1", "A"));
  EXPECT_EQ(Fingerprint() + Value("SELECT max(modify_date) FROM summary"), before);
}

TEST_F(MetadataUpdateTest, SmallWriters) {
  EXPECT_TRUE(api_.UpdatePlusInfo("6", nullptr));
  EXPECT_EQ(Value("SELECT plus_info FROM plus_info WHERE mapper_id = 6"), "{}");

  EXPECT_TRUE(api_.UpdateList("actor", "1", ""));
  EXPECT_EQ(Names("actor", 1), "");
  EXPECT_TRUE(api_.UpdateList("actor", "1", "B|A"));
  EXPECT_EQ(Names("actor", 1), "B|A");

  EXPECT_TRUE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "2", "true"));
  EXPECT_EQ(Row("movie", "isLock", 2), "t");
  // A lock that is not a boolean is refused by the database.
  EXPECT_FALSE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "2", "maybe; DROP TABLE movie"));
  EXPECT_EQ(Row("movie", "isLock", 2), "t");
}

}  // namespace
}  // namespace kinolot_test
