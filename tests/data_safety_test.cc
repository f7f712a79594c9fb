// Inputs that once destroyed or stranded stored data: SQL carried in a table
// or column name, paths longer than their field, dates the server refuses,
// saves that fail halfway, and merges and moves that dropped what the
// surviving item owned.
#include <gtest/gtest.h>

#include <string>

#include "kinolot/video_info_store.h"
#include "kinolot/video_metadata_db.h"
#include "support/edit_form.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class DataSafetyTest : public DatabaseTest {
 protected:
  // Mapper rows that no video, show or file hangs on, and shows without an
  // episode: what nothing would ever remove again.
  long Orphans() {
    return std::stol(Value(
        "SELECT (SELECT count(*) FROM mapper m WHERE NOT EXISTS (SELECT 1 FROM movie WHERE"
        " mapper_id = m.id) AND NOT EXISTS (SELECT 1 FROM tvshow WHERE mapper_id = m.id) AND NOT"
        " EXISTS (SELECT 1 FROM tvshow_episode WHERE mapper_id = m.id) AND NOT EXISTS (SELECT 1"
        " FROM home_video WHERE mapper_id = m.id) AND NOT EXISTS (SELECT 1 FROM tv_record WHERE"
        " mapper_id = m.id) AND NOT EXISTS (SELECT 1 FROM video_file WHERE mapper_id = m.id)) +"
        " (SELECT count(*) FROM tvshow s WHERE NOT EXISTS (SELECT 1 FROM tvshow_episode WHERE"
        " tvshow_id = s.id))"));
  }
  std::string MapperOf(const std::string& table, const std::string& title) {
    return Value("SELECT mapper_id FROM " + table + " WHERE title = '" + title + "'");
  }

  VideoMetadataAPI api_;
};

TEST_F(DataSafetyTest, NamesOfTablesAndColumnsCannotCarrySql) {
  ASSERT_TRUE(StoreVideo("/v/a.mkv", Movie("Alpha", 2001)));
  const std::string mapperId = MapperOf("movie", "Alpha");
  MarkStatements();
  for (const char* table : {"actor; delete from movie; --", "movie", "mapper"}) {
    EXPECT_FALSE(api_.UpdateList(table, mapperId, "x")) << table;
  }
  EXPECT_FALSE(api_.UpdateWDAG("video_file", "1", "", "", "x", ""));
  VideoDB db(nullptr, "movie");
  EXPECT_FALSE(db.UpdateDB("1", {{"title='x' WHERE true; DELETE FROM actor; --", "v"}}));
  EXPECT_FALSE(db.UpdateDBEx("id IS NOT NULL OR movie.id", "1", {{"title", "v"}}));
  EXPECT_FALSE(db.CategoryHasUnknown("movie; DELETE FROM movie; --", "actor"));
  EXPECT_EQ(Statements(), std::vector<std::string>());
  EXPECT_EQ(Value("SELECT title FROM movie"), "Alpha");
}

TEST_F(DataSafetyTest, PathsLongerThanTheFieldAreRefusedNotCut) {
  // A stored path of 4,095 bytes, the most a field holds, and the same path
  // one byte longer: cut to the field it would name the stored file.
  const std::string stored = "/v/" + std::string(4092, 'p');
  const std::string longer = stored + "x";
  ASSERT_TRUE(StoreVideo(stored, Movie("Alpha", 2001)));
  ASSERT_TRUE(StoreVideo("/v/b.mkv", Movie("Beta", 2002)));
  _VIDEO_INFO_ movie = Movie("Gamma", 2003);
  EXPECT_EQ(VideoInfoRename(longer.c_str(), "/v/b.mkv"), -1);
  EXPECT_EQ(VideoInfoRename("/v/c.mkv", longer.c_str()), -1);
  EXPECT_EQ(VideoInfoDelete(longer.c_str(), true), -1);
  EXPECT_EQ(VideoInfoSave(longer.c_str(), &movie), -1);
  EXPECT_FALSE(VideoInfoIsLock(longer.c_str()));
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Bad parameter"));
  EXPECT_EQ(Value("SELECT string_agg(m.title || ':' || length(f.path), ',' ORDER BY m.title)"
                  " FROM movie m JOIN video_file f ON f.mapper_id = m.mapper_id"),
            "Alpha:4095,Beta:8");
}

TEST_F(DataSafetyTest, ImpossibleDatesAreRefusedBeforeAnyStatementAndZerosMeanNone) {
  ASSERT_EQ(StoreFile("/v/a.mkv"), 0);
  struct Case {
    const char* field;
    const char* date;
  };
  for (const Case& c : {Case{"originally_available", "2009-02-30"}, Case{"sort_time", "2009-13-01"},
                        Case{"tvshow", "2010-04-31"}, Case{"record_time", "2012-06-01 25:00:00"},
                        Case{"originally_available", "99999999999"}}) {
    SCOPED_TRACE(c.date);
    _VIDEO_INFO_TVSHOW_ info = Episode("Alias", 2001, 1, 1);
    std::string field = c.field;
    if (field == "originally_available") Set(info.originally_available, c.date);
    if (field == "sort_time") Set(info.sort_time, c.date);
    if (field == "tvshow") Set(info.tvshow_originally_available, c.date);
    if (field == "record_time") info = Recording(VIDEO_TYPE_HOME_VIDEO, "Party", c.date);
    MarkStatements();
    EXPECT_EQ(VideoInfoSave("/v/a.mkv", &info), -1);
    EXPECT_EQ(Statements(), std::vector<std::string>());
  }

  // Zeros are how metadata sources write "unknown": the video is stored
  // without a date.
  for (const char* zeros : {"0000-00-00", "0000"}) {
    _VIDEO_INFO_ movie = Movie("Zero", 0);
    Set(movie.originally_available, zeros);
    ASSERT_EQ(VideoInfoSave("/v/a.mkv", &movie), 0) << zeros;
    EXPECT_EQ(Value("SELECT year || coalesce(originally_available::text, '-') ||"
                    " coalesce(sort_time::text, '-') FROM movie"),
              "0--");
  }

  // An edit with such a date fails before it writes anything.
  EditForm e;
  e.title = "Zero";
  e.isLock = "false";
  e.summary = "changed";
  e.date = "2009-02-30";
  const std::string movieId = Value("SELECT id FROM movie");
  EXPECT_EQ(e.Update(api_, VIDEO_TABLE_MOVIE, movieId), -1);
  EXPECT_EQ(Value("SELECT summary FROM summary"), "");
  EXPECT_EQ(Orphans(), 0);
}

TEST_F(DataSafetyTest, ASaveThatFailsHalfwayLeavesNoMapperWithoutItsVideo) {
  ASSERT_EQ(StoreFile("/v/a.mkv"), 0);
  ASSERT_TRUE(StoreVideo("/v/s.mkv", Episode("Spies", 2001, 1, 1)));
  const long mappers = Count("mapper");
  // Bytes that are no UTF-8: the server refuses the first statement that
  // carries them, after the save has made a new mapper for its new row.
  const std::string bad = "Bad \xff\xfe";
  _VIDEO_INFO_ movie = Movie(bad, 2001);
  _VIDEO_INFO_TVSHOW_ newShow = Episode(bad, 2001, 1, 1);
  _VIDEO_INFO_TVSHOW_ newEpisode = Episode("Alias", 2001, 1, 1);
  Set(newEpisode.tag_line, bad);
  _VIDEO_INFO_TVSHOW_ episodeOfStoredShow = Episode("Spies", 2001, 1, 2);
  Set(episodeOfStoredShow.tag_line, bad);
  _VIDEO_INFO_ home = Recording(VIDEO_TYPE_HOME_VIDEO, bad, "2012-06-01 10:00:00");
  _VIDEO_INFO_ record = Recording(VIDEO_TYPE_TV_RECORD, "News", "2020-01-01 20:00:00");
  Set(record.channel_name, bad);
  for (_VIDEO_INFO_* info : {&movie, &newShow, &newEpisode, &episodeOfStoredShow, &home, &record}) {
    SCOPED_TRACE(info->type);
    EXPECT_EQ(VideoInfoSave("/v/a.mkv", info), -1);
    EXPECT_EQ(Orphans(), 0);
    EXPECT_EQ(Count("mapper"), mappers);
  }
  _VIDEO_INFO_VIDEO_FILE_ file = FileRecord("/v/new.mkv");
  Set(file.video_codec, bad);
  EXPECT_EQ(VideoInfoVideoFileSave(&file), -1);
  EXPECT_EQ(Count("mapper"), mappers);
}

TEST_F(DataSafetyTest, AMergedMovieHandsItsCollectionMembershipsOn) {
  ASSERT_TRUE(StoreVideo("/v/a.mkv", Movie("Alpha", 2001)));
  ASSERT_TRUE(StoreVideo("/v/b.mkv", Movie("Beta", 2003)));
  const std::string alpha = Value("SELECT id FROM movie WHERE title = 'Alpha'");
  const std::string beta = Value("SELECT id FROM movie WHERE title = 'Beta'");
  const std::string onlyBeta = std::to_string(api_.Collection_Create("1024", "Only Beta"));
  const std::string both = std::to_string(api_.Collection_Create("1024", "Both"));
  ASSERT_TRUE(api_.Collection_AddVideo(onlyBeta, "movie", beta));
  ASSERT_TRUE(api_.Collection_AddVideo(both, "movie", beta));
  ASSERT_TRUE(api_.Collection_AddVideo(both, "movie", alpha));

  EditForm e;
  e.title = "Alpha";
  e.date = "2001";
  e.isLock = "false";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_MOVIE, beta, ""));
  EXPECT_EQ(Count("movie"), 1);
  EXPECT_EQ(Value("SELECT string_agg(c.title || ':' || m.title, ',' ORDER BY c.title) FROM"
                  " collection_map cm JOIN collection c ON c.id = cm.collection_id JOIN movie m"
                  " ON m.mapper_id = cm.mapper_id"),
            "Both:Alpha,Only Beta:Alpha");
}

TEST_F(DataSafetyTest, AnEpisodeMovedIntoAnExistingShowLeavesThatShowItsMetadata) {
  _VIDEO_INFO_TVSHOW_ alias = Episode("Alias", 2001, 1, 1);
  Set(alias.tvshow_originally_available, "2001-09-30");
  Set(alias.tvshow_summary, "Alias summary");
  alias.tvshow_plus_info["from"] = "alias";
  ASSERT_TRUE(StoreVideo("/v/alias.mkv", alias));
  _VIDEO_INFO_TVSHOW_ spies = Episode("Spies", 2001, 2, 5);
  Set(spies.tvshow_originally_available, "2001-05-05");
  Set(spies.tvshow_summary, "Spies summary");
  spies.tvshow_plus_info["from"] = "spies";
  ASSERT_TRUE(StoreVideo("/v/spies.mkv", spies));
  const std::string spiesMapper = MapperOf("tvshow", "Spies");
  auto spiesShow = [&] {
    return Value(
        "SELECT s.originally_available || '|' || summary || '|' || p.plus_info FROM"
        " tvshow s JOIN summary USING (mapper_id) JOIN plus_info p USING (mapper_id)"
        " WHERE s.mapper_id = " +
        spiesMapper);
  };
  const std::string before = spiesShow();

  EditForm e;
  e.title = "Spies";
  e.season = "1";
  e.episode = "1";
  e.isLock = "false";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TVSHOW_EPISODE,
                     Value("SELECT id FROM tvshow_episode WHERE season = 1"), ""));
  EXPECT_EQ(Value("SELECT count(*) FROM tvshow_episode e JOIN tvshow s ON s.id = e.tvshow_id"
                  " WHERE s.title = 'Spies'"),
            "2");
  EXPECT_EQ(spiesShow(), before);
}

}  // namespace
}  // namespace kinolot_test
