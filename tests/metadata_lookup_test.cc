// Field look-ups and the season-episode merge of two TV shows, on the small
// library of the metadata tests: what each look-up finds, the statements it
// sends, the values it refuses to send, and what a merge moves and deletes.
#include <gtest/gtest.h>

#include <list>
#include <map>
#include <string>
#include <vector>

#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using EpisodeMap = std::map<std::string, std::string>;

class MetadataLookupTest : public MetadataTest {};

TEST_F(MetadataLookupTest, FieldValueIsReadByIdOrByQuotedKey) {
  EXPECT_EQ(api_.GetFieldValueById("movie", "5", "title"), "O'Brien Story");
  EXPECT_EQ(api_.GetFieldValueByKey("movie", "title", "'O''Brien Story'", "id"), "5");
  EXPECT_EQ(api_.GetFieldValueByKey("tv_record", "channel_name", "'Arte'", "mapper_id"), "13");
  // A missing row and an unknown column both read as "".
  EXPECT_EQ(api_.GetFieldValueById("movie", "99", "title"), "");
  EXPECT_EQ(api_.GetFieldValueById("movie", "1", "no_such_column"), "");
}

TEST_F(MetadataLookupTest, FieldValueRefusesWhatCouldEndTheCondition) {
  MarkStatements();
  std::string before = Fingerprint();
  for (const char* value :
       {"", "5 OR 1=1", "1; DELETE FROM movie", "'Alpha", "'a' OR 'b'='b'", "'It's'", "-1", "5%"}) {
    EXPECT_EQ(api_.GetFieldValueByKey("movie", "id", value, "title"), "") << value;
  }
  EXPECT_EQ(api_.GetFieldValueByKey("movie; DROP TABLE movie", "id", "1", "title"), "");
  EXPECT_EQ(api_.GetFieldValueByKey("movie", "", "1", "title"), "");
  EXPECT_EQ(api_.GetFieldValueByKey("movie", "id", "1", "title, (SELECT 1)"), "");
  EXPECT_EQ(api_.GetFieldValueByKey("movie", "id", "1", ""), "");
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
  EXPECT_EQ(Fingerprint(), before);
}

TEST_F(MetadataLookupTest, ItemOwningAVideoFile) {
  std::string id = "unchanged";
  ASSERT_TRUE(api_.GetIDByVideoID(VIDEO_TABLE_TVSHOW_EPISODE, "3", id));
  EXPECT_EQ(id, "1");
  EXPECT_TRUE(
      Received("SELECT id FROM tvshow_episode WHERE mapper_id IN ( SELECT mapper_id FROM "
               "video_file WHERE video_file.id=3 )  LIMIT 1 "))
      << testing::PrintToString(Statements());

  // The query runs but no movie owns the episode's file: id is left alone.
  id = "unchanged";
  EXPECT_TRUE(api_.GetIDByVideoID(VIDEO_TABLE_MOVIE, "3", id));
  EXPECT_EQ(id, "unchanged");

  MarkStatements();
  for (_VIDEO_TABLE_TYPE_ type : {VIDEO_TABLE_INVALID, VIDEO_TABLE_SUMMARY, VIDEO_TABLE_VIDEO_FILE,
                                  static_cast<_VIDEO_TABLE_TYPE_>(99)}) {
    EXPECT_FALSE(api_.GetIDByVideoID(type, "1", id)) << type;
  }
  for (const char* videoId : {"", "1 OR 1=1", "'1'"}) {
    EXPECT_FALSE(api_.GetIDByVideoID(VIDEO_TABLE_MOVIE, videoId, id)) << videoId;
  }
  EXPECT_EQ(id, "unchanged");
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
}

TEST_F(MetadataLookupTest, ReleaseDateAnEditKeeps) {
  std::string out = "stale";
  EXPECT_FALSE(api_.GetODate(VIDEO_TABLE_MOVIE, "", "2000-01-01", out));
  EXPECT_EQ(out, "");

  EXPECT_TRUE(api_.GetODate(VIDEO_TABLE_MOVIE, "1", "1999-12-31", out));
  EXPECT_EQ(out, "1999-12-31");
  EXPECT_TRUE(api_.GetODate(VIDEO_TABLE_MOVIE, "1", "", out));
  EXPECT_EQ(out, "");

  EXPECT_TRUE(api_.GetODate(VIDEO_TABLE_MOVIE, "1", nullptr, out));
  EXPECT_EQ(out, "2001-05-04");
  EXPECT_TRUE(api_.GetODate(VIDEO_TABLE_TVSHOW, "1", nullptr, out));
  EXPECT_EQ(out, "2010-01-01");
  EXPECT_TRUE(api_.GetODate(VIDEO_TABLE_TVSHOW_EPISODE, "2", nullptr, out));
  EXPECT_EQ(out, "");  // NULL in the database

  MarkStatements();
  EXPECT_TRUE(api_.GetODate(VIDEO_TABLE_HOME_VIDEO, "1", nullptr, out));
  EXPECT_EQ(out, "");
  EXPECT_TRUE(Statements().empty());
}

TEST_F(MetadataLookupTest, StringToListAppendsNonEmptyPieces) {
  std::list<std::string> names = {"kept"};
  api_.StringToList("Ann Lee|| Zoë |O'Brien|", names);
  EXPECT_EQ(names, (std::list<std::string>{"kept", "Ann Lee", " Zoë ", "O'Brien"}));
  api_.StringToList("", names);
  EXPECT_EQ(names.size(), 4u);
}

// Show Two (id 2) gets episodes that collide with Show One's S1E1 and S1E2,
// one that collides with nothing, and files of its own.
class EpisodeMergeTest : public MetadataTest {
 protected:
  void SetUp() override {
    MetadataTest::SetUp();
    Exec(
        "INSERT INTO mapper(id, type) VALUES (14,'tvshow_episode'),(15,'tvshow_episode'),"
        "(16,'tvshow_episode')");
    Exec(
        "INSERT INTO tvshow_episode(id, mapper_id, tvshow_id, season, episode) VALUES"
        " (3, 14, 2, 1, 2), (4, 15, 2, 2, 1), (5, 16, 2, 1, 1)");
    Exec(
        "INSERT INTO video_file(id, mapper_id, path) VALUES (4, 14, '/v/two/s01e02.mkv'),"
        " (5, 14, '/v/two/s01e02-b.mkv'), (6, 15, '/v/two/s02e01.mkv'), (7, 16, "
        "'/v/two/s01e01.mkv')");
  }

  // "<file id>:<mapper id>" of every file of Show Two's former episodes.
  std::string FileOwners() {
    return Value(
        "SELECT string_agg(id || ':' || mapper_id, ',' ORDER BY id) FROM video_file WHERE id >= 4");
  }
  std::string EpisodeIds() {
    return Value("SELECT string_agg(id || '@' || tvshow_id, ',' ORDER BY id) FROM tvshow_episode");
  }
};

TEST_F(EpisodeMergeTest, SeasonEpisodeTextsOfAShow) {
  EpisodeMap episodes;
  ASSERT_TRUE(api_.GetSeasonEpisodeByTVShowID("1", episodes));
  EXPECT_EQ(episodes, (EpisodeMap{{"1", "1-1"}, {"2", "1-2"}}));

  EpisodeMap none;
  EXPECT_TRUE(api_.GetSeasonEpisodeByTVShowID("99", none));
  EXPECT_TRUE(none.empty());
  MarkStatements();
  EXPECT_FALSE(api_.GetSeasonEpisodeByTVShowID("", none));
  EXPECT_FALSE(api_.GetSeasonEpisodeByTVShowID("1 OR 1=1", none));
  EXPECT_TRUE(Statements().empty());
}

TEST_F(EpisodeMergeTest, SharedEpisodesGiveTheirFilesToTheTargetAndGo) {
  // S1E2 pairs 3 with 2 and S1E1 pairs 5 with 1; S2E1 has no counterpart
  // and stays in Show Two.
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1", nullptr), 2);
  EXPECT_EQ(FileOwners(), "4:8,5:8,6:15,7:7");
  EXPECT_EQ(EpisodeIds(), "1@1,2@1,4@2");
  EXPECT_EQ(Value("SELECT count(*) FROM mapper WHERE id IN (14, 16)"), "0");
  // Per pair: both mapper ids, the move of the files and memberships, the
  // deletion.
  EXPECT_EQ(Statements(),
            (std::vector<std::string>{
                "SELECT id, season, episode FROM tvshow_episode WHERE tvshow_id=2 ",
                "SELECT id, season, episode FROM tvshow_episode WHERE tvshow_id=1 ",
                "SELECT mapper_id FROM tvshow_episode WHERE id=3  LIMIT 1 ",
                "SELECT mapper_id FROM tvshow_episode WHERE id=2  LIMIT 1 ",
                "UPDATE video_file SET mapper_id='8' , modify_date = current_timestamp WHERE "
                "video_file.mapper_id=14 ",
                "UPDATE collection_map SET mapper_id = 8 WHERE mapper_id = 14 AND "
                "collection_id NOT IN (SELECT collection_id FROM collection_map WHERE "
                "mapper_id = 8)",
                "DELETE FROM mapper WHERE id = 14",
                "SELECT mapper_id FROM tvshow_episode WHERE id=5  LIMIT 1 ",
                "SELECT mapper_id FROM tvshow_episode WHERE id=1  LIMIT 1 ",
                "UPDATE video_file SET mapper_id='7' , modify_date = current_timestamp WHERE "
                "video_file.mapper_id=16 ",
                "UPDATE collection_map SET mapper_id = 7 WHERE mapper_id = 16 AND "
                "collection_id NOT IN (SELECT collection_id FROM collection_map WHERE "
                "mapper_id = 7)",
                "DELETE FROM mapper WHERE id = 16"}));

  // Nothing is left to pair: merging again changes nothing.
  std::string before = EpisodeIds() + FileOwners();
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1", nullptr), 0);
  EXPECT_EQ(EpisodeIds() + FileOwners(), before);
}

TEST_F(EpisodeMergeTest, AGivenEpisodeListIsTheOnlySource) {
  // Episode 4 (S2E1) has no counterpart; the colliding episode 3 is not
  // looked at because it is not in the list.
  EpisodeMap moving = {{"4", "2-1"}};
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1", &moving), 0);
  EXPECT_EQ(EpisodeIds(), "1@1,2@1,3@2,4@2,5@2");

  moving = {{"3", "1-2"}};
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1", &moving), 1);
  EXPECT_EQ(EpisodeIds(), "1@1,2@1,4@2,5@2");
  EXPECT_EQ(FileOwners(), "4:8,5:8,6:15,7:16");
}

TEST_F(EpisodeMergeTest, FailuresStopWithoutMovingAnything) {
  std::string before = EpisodeIds() + FileOwners();
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("", "1", nullptr), -1);
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "", nullptr), -1);
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1; DELETE FROM video_file", nullptr), -1);
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("x", "1", nullptr), -1);
  // A listed episode that does not exist has no mapper id to move files from.
  EpisodeMap ghost = {{"99", "1-1"}};
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1", &ghost), -1);
  EpisodeMap hostile = {{"3 OR 1=1", "1-1"}};
  EXPECT_EQ(api_.MergeTVShowExSEpisodeHandler("2", "1", &hostile), -1);
  EXPECT_EQ(EpisodeIds() + FileOwners(), before);
}

}  // namespace
}  // namespace kinolot_test
