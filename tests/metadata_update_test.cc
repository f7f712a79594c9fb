// The edit side's writes on the sample library: what each kind
// takes from an edit, the writes that stay when a later step fails, the
// season-episode merge of two shows, and values that must never reach the
// server.
#include <gtest/gtest.h>

#include <list>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "support/edit_form.h"
#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using EpisodeMap = std::map<std::string, std::string>;

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
  e.genre = "Drama|Comedy";
  e.plusInfo = R"({"rating": "7"})";
  ASSERT_EQ(Update(VIDEO_TABLE_MOVIE, "1", e), 1) << testing::PrintToString(LogLines());
  // A bare year gives no release date and the first of January to sort by.
  EXPECT_EQ(Row("movie",
                "title, sort_title, tag_line, year, coalesce(originally_available::text, 'none'),"
                " sort_time, isLock",
                1),
            "The Return of O'Brien,Return O'Brien ,100% \\Proof\\,2009,none,2009-01-01 00:00:00,f");
  EXPECT_EQ(Value("SELECT summary || plus_info FROM summary JOIN plus_info USING (mapper_id)"
                  " WHERE mapper_id = 1"),
            "Zoë's \"story\"{\"rating\": \"7\"}");
  // Lists are replaced whole: an empty one empties; other videos keep theirs.
  EXPECT_EQ(Names("actor", 1) + "/" + Names("director", 1) + "/" + Names("gnere", 1),
            "Zoë Ö|Ann Lee//Drama|Comedy");
  EXPECT_EQ(Names("actor", 2), "Ann Lee");

  // Without a date the stored dates stay; a full date sets all three.
  e.date = nullptr;
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
  EXPECT_EQ(Names("actor", 7) + Row("tvshow", "title", 1), "EveShow One");
  ASSERT_EQ(Update(VIDEO_TABLE_TVSHOW, "1", e), 1);
  EXPECT_EQ(Row("tvshow", "title, sort_title, year, isLock", 1), "Renamed,Renamed ,2011,t");

  // Home videos and recordings take no lock, no dates and no extra
  // information.
  e.recordTime = "2013-04-05 06:07:08";
  e.plusInfo = "{}";
  ASSERT_EQ(Update(VIDEO_TABLE_HOME_VIDEO, "1", e), 1);
  EXPECT_EQ(Row("home_video", "title, record_time, isLock", 1) + Names("actor", 10),
            "Renamed,2013-04-05 06:07:08,fEve");
  EXPECT_EQ(Count("plus_info WHERE mapper_id = 10"), 0);
  e.channel = "Arte 2";
  ASSERT_EQ(Update(VIDEO_TABLE_TV_RECORD, "1", e), 1);
  EXPECT_EQ(Row("tv_record", "title, channel_name", 1) + Names("actor", 12), "Renamed,Arte 2");

  // The small writers on their own.
  EXPECT_TRUE(api_.UpdatePlusInfo("6", nullptr));
  EXPECT_EQ(Value("SELECT plus_info FROM plus_info WHERE mapper_id = 6"), "{}");
  EXPECT_TRUE(api_.UpdateList("actor", "1", "B||A|"));
  EXPECT_EQ(Names("actor", 1), "B|A");
  EXPECT_TRUE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "2", "true"));
  EXPECT_FALSE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "2", "maybe; DROP TABLE movie"));
  EXPECT_EQ(Row("movie", "isLock", 2), "t");
}

TEST_F(MetadataUpdateTest, RequiredValuesFailAfterTheSummaryIsWritten) {
  std::string movie = Row("movie", "title, isLock, modify_date", 1);
  EditForm e;
  e.title = "New";
  e.summary = "written anyway";
  e.plusInfo = R"({"x": "1"})";
  e.actor = "Not Written";
  EXPECT_EQ(Update(VIDEO_TABLE_MOVIE, "1", e), -1);  // no isLock
  EXPECT_EQ(Row("movie", "title, isLock, modify_date", 1), movie);
  EXPECT_EQ(Value("SELECT summary || plus_info FROM summary JOIN plus_info USING (mapper_id)"
                  " WHERE mapper_id = 1"),
            "written anyway{\"x\": \"1\"}");
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
  EXPECT_EQ(Row("tvshow", "title", 1) + Row("home_video", "title", 1), "Show OneBirthday");
}

// The look-ups of single values serve the merges, which the edit tests run;
// here the release date an edit keeps when it sends none.
TEST_F(MetadataUpdateTest, AnEditKeepsTheSentReleaseDateElseTheStoredOne) {
  const std::tuple<_VIDEO_TABLE_TYPE_, const char*, const char*> dates[] = {
      {VIDEO_TABLE_MOVIE, "", ""},
      {VIDEO_TABLE_MOVIE, nullptr, "2001-05-04"},
      {VIDEO_TABLE_TVSHOW, nullptr, "2010-01-01"},
      {VIDEO_TABLE_HOME_VIDEO, nullptr, ""}};
  for (const auto& [type, sent, kept] : dates) {
    std::string out = "stale";
    EXPECT_TRUE(api_.GetODate(type, "1", sent, out));
    EXPECT_EQ(out, kept) << type;
  }
  std::string out = "stale";
  EXPECT_FALSE(api_.GetODate(VIDEO_TABLE_MOVIE, "", "2000-01-01", out));
  EXPECT_EQ(out, "");
}

TEST_F(MetadataUpdateTest, BadIdsTablesAndFieldsSendNothing) {
  Rows before = Snapshot();
  EditForm e;
  e.title = "X";
  e.isLock = "true";
  EXPECT_EQ(Update(VIDEO_TABLE_MOVIE, "99", e), -1);
  EXPECT_FALSE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "4294967297", "true")) << "not cut to 32 bits";
  MarkStatements();
  for (const char* id : {"", "1 OR 1=1", "'1'"}) {
    EXPECT_EQ(Update(VIDEO_TABLE_MOVIE, id, e), -1) << id;
  }
  EXPECT_EQ(Update(static_cast<_VIDEO_TABLE_TYPE_>(42), "1", e), -1);
  EXPECT_FALSE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "1 OR 1=1", "true"));
  EXPECT_FALSE(api_.UpdateLock(VIDEO_TABLE_MOVIE, "2", ""));
  EXPECT_FALSE(api_.UpdateSummary("", "s"));
  EXPECT_FALSE(api_.UpdatePlusInfo("0 OR 1=1", "{}"));
  EXPECT_FALSE(api_.UpdateList("actor", "", "A"));
  EXPECT_FALSE(api_.UpdateList("", "1", "A"));
  // Look-ups join table, column and value to the statement as they stand.
  for (const char* value : {"", "5 OR 1=1", "1; DELETE FROM movie", "'Alpha", "'a' OR 'b'='b'"}) {
    EXPECT_EQ(api_.GetFieldValueByKey("movie", "id", value, "title"), "") << value;
  }
  EXPECT_EQ(api_.GetFieldValueByKey("movie; DROP TABLE movie", "id", "1", "title"), "");
  EXPECT_EQ(api_.GetFieldValueByKey("movie", "", "1", "title"), "");
  EXPECT_EQ(api_.GetFieldValueByKey("movie", "id", "1", "title, (SELECT 1)"), "");
  std::string id = "unchanged";
  for (_VIDEO_TABLE_TYPE_ type :
       {VIDEO_TABLE_INVALID, VIDEO_TABLE_SUMMARY, VIDEO_TABLE_VIDEO_FILE}) {
    EXPECT_FALSE(api_.GetIDByVideoID(type, "1", id)) << type;
  }
  EXPECT_FALSE(api_.GetIDByVideoID(VIDEO_TABLE_MOVIE, "1 OR 1=1", id));
  EpisodeMap none;
  EXPECT_FALSE(api_.GetSeasonEpisodeByTVShowID("1 OR 1=1", none));
  EXPECT_EQ(id, "unchanged");
  // Names of tables and columns stand unquoted.
  for (const char* table : {"actor; delete from movie; --", "movie", "mapper"}) {
    EXPECT_FALSE(api_.UpdateList(table, "1", "x")) << table;
  }
  EXPECT_FALSE(api_.UpdateWDAG("video_file", "1", "", "", "x", ""));
  VideoDB db(nullptr, "movie");
  EXPECT_FALSE(db.UpdateDB("1", {{"title='x' WHERE true; DELETE FROM actor; --", "v"}}));
  EXPECT_FALSE(db.UpdateDBEx("id IS NOT NULL OR movie.id", "1", {{"title", "v"}}));
  EXPECT_FALSE(db.CategoryHasUnknown("movie; DELETE FROM movie; --", "actor"));
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
  EXPECT_EQ(Snapshot(), before);
}

// The pairing itself is seen through a show's merge in the edit tests; here
// the list a caller gives, and ids that must stop it before anything moves.
TEST_F(MetadataUpdateTest, EpisodeMergeOfTwoShowsTakesOnlyDecimalIds) {
  Exec("INSERT INTO mapper(type) VALUES ('tvshow_episode'), ('tvshow_episode')");
  Exec(
      "INSERT INTO tvshow_episode(mapper_id, tvshow_id, season, episode) VALUES (14, 2, 1, 2),"
      " (15, 2, 2, 1)");
  Exec("INSERT INTO video_file(mapper_id, path) VALUES (14, '/v/a'), (15, '/v/c')");
  const Rows before = Snapshot();
  // A given list is the only source: episode 4 (S2E1) has no counterpart.
  EpisodeMap moving = {{"4", "2-1"}};
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1", &moving), 0);
  for (const auto& [source, target] :
       {std::make_pair("", "1"), {"x", "1"}, {"2", "1; DELETE FROM video_file"}}) {
    EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler(source, target, nullptr), -1) << target;
  }
  for (const char* ghost : {"99", "3 OR 1=1"}) {
    EpisodeMap bad = {{ghost, "1-2"}};
    EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1", &bad), -1) << ghost;
  }
  EXPECT_EQ(Snapshot(), before);
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1", nullptr), 1);
  EXPECT_TRUE(
      Received("UPDATE video_file SET mapper_id='8' , modify_date = current_timestamp "
               "WHERE video_file.mapper_id=14 "));
  EXPECT_EQ(Count("mapper WHERE id = 14"), 0);
}

}  // namespace
}  // namespace kinolot_test
