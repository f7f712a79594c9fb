// Saving edits end to end on a library stored through the indexing
// interface: a file's description re-saved with edited values, an item
// updated in place, and items merged into the one that already has the
// edited identity, for every kind, taking along collection memberships and
// leaving the surviving show its own metadata.
#include <gtest/gtest.h>

#include <string>

#include "kinolot/video_info_store.h"
#include "support/edit_form.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class MetadataEditTest : public DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
    _VIDEO_INFO_ alpha = Movie("Alpha", 2001);
    alpha.plus_info["rating"] = "8";
    alpha.actor = {"Ann"};
    ASSERT_TRUE(StoreVideo("/v/Alpha.mkv", alpha));
    ASSERT_TRUE(StoreVideo("/v/Alpha-2.mkv", alpha));
    _VIDEO_INFO_ beta = Movie("Beta", 2003);
    beta.actor = {"Bob"};
    ASSERT_TRUE(StoreVideo("/v/Beta.mkv", beta));
    ASSERT_TRUE(StoreVideo("/v/one/1.mkv", Episode("Show One", 2010, 1, 1)));
    ASSERT_TRUE(StoreVideo("/v/one/2.mkv", Episode("Show One", 2010, 1, 2)));
    ASSERT_TRUE(StoreVideo("/v/two/2.mkv", Episode("Show Two", 2015, 1, 2)));
    ASSERT_TRUE(StoreVideo("/v/two/3.mkv", Episode("Show Two", 2015, 1, 3)));
    ASSERT_TRUE(StoreVideo("/v/home.mkv",
                           Recording(VIDEO_TYPE_HOME_VIDEO, "Party", "2012-06-01 10:00:00")));
    ASSERT_TRUE(
        StoreVideo("/v/news.ts", Recording(VIDEO_TYPE_TV_RECORD, "News", "2020-01-01 20:00:00")));
  }

  std::string FileId(const std::string& path) {
    return Value("SELECT id FROM video_file WHERE path = '" + path + "'");
  }
  std::string IdOf(const std::string& table, const std::string& title) {
    return Value("SELECT id FROM " + table + " WHERE title = '" + title + "'");
  }
  // `expression` over the row t of `table` that owns the file at `path`, its
  // extra information p and its summary s.
  std::string Owner(const std::string& table, const std::string& path,
                    const std::string& expression) {
    return Value("SELECT " + expression + " FROM " + table +
                 " t JOIN video_file f ON f.mapper_id = t.mapper_id"
                 " LEFT JOIN plus_info p ON p.mapper_id = t.mapper_id"
                 " LEFT JOIN summary s ON s.mapper_id = t.mapper_id WHERE f.path = '" +
                 path + "'");
  }
  // "<title> <year>:<path>,..." of every movie file and "<show> <season>x<episode>:<path>,..."
  // of every episode file, to see where files went.
  std::string MovieFiles() {
    return Value(
        "SELECT string_agg(m.title || ' ' || m.year || ':' || f.path, ',' ORDER BY f.path)"
        " FROM movie m JOIN video_file f ON f.mapper_id = m.mapper_id");
  }
  std::string EpisodeFiles() {
    return Value(
        "SELECT string_agg(s.title || ' ' || e.season || 'x' || e.episode || ':' || f.path, ','"
        " ORDER BY f.path) FROM tvshow s JOIN tvshow_episode e ON e.tvshow_id = s.id"
        " JOIN video_file f ON f.mapper_id = e.mapper_id");
  }
  std::string Shows() {
    return Value("SELECT string_agg(title || ' ' || year, ',' ORDER BY title) FROM tvshow");
  }

  VideoMetadataAPI api_;
};

TEST_F(MetadataEditTest, FileKeepsItsExtraInformationOnlyUnderTheSameIdentity) {
  const std::string stored = Owner("movie", "/v/Alpha.mkv", "p.plus_info");
  EditForm e;
  e.title = "ALPHA";  // letter case alone is no new identity: the title stays
  e.isLock = "true";
  e.summary = "New summary";
  e.actor = "Zed||Ann|";
  ASSERT_TRUE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Alpha.mkv", FileId("/v/Alpha.mkv")));
  EXPECT_EQ(Owner("movie", "/v/Alpha.mkv", "p.plus_info"), stored) << "saved, not re-quoted";
  EXPECT_EQ(Owner("movie", "/v/Alpha.mkv",
                  "t.title || t.isLock || s.summary || (SELECT string_agg(actor, '|' ORDER BY id)"
                  " FROM actor a WHERE a.mapper_id = t.mapper_id)"),
            "AlphatrueNew summaryZed|Ann");

  // A new year is a new identity: the file moves to a new movie whose extra
  // information starts empty.
  e.date = "2005-02-03";
  ASSERT_TRUE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Alpha.mkv", FileId("/v/Alpha.mkv")));
  EXPECT_EQ(MovieFiles(),
            "Alpha 2001:/v/Alpha-2.mkv,ALPHA 2005:/v/Alpha.mkv,Beta 2003:/v/Beta.mkv");
  EXPECT_EQ(Owner("movie", "/v/Alpha.mkv",
                  "concat(t.originally_available, ' ', t.isLock, ' ', p.plus_info)"),
            "2005-02-03 t ");

  // New extra information is taken as JSON; text that is not JSON, or JSON
  // nested deeper than the reader allows, fails, whether sent with the edit
  // or read back with the file's description.
  e.plusInfo = R"({"rating": "9"} // from the form)";
  ASSERT_TRUE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Beta.mkv", FileId("/v/Beta.mkv")));
  EXPECT_NE(Owner("movie", "/v/Beta.mkv", "p.plus_info").find("\"rating\" : \"9\""),
            std::string::npos);
  const std::string deep(5000, '[');
  for (const char* bad : {"{bad", deep.c_str()}) {
    e.plusInfo = bad;
    EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Beta.mkv", FileId("/v/Beta.mkv")));
  }
  Exec("UPDATE plus_info SET plus_info = '" + deep + "'");
  e.plusInfo = nullptr;
  EXPECT_TRUE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Beta.mkv", FileId("/v/Beta.mkv")));
}

TEST_F(MetadataEditTest, EpisodeFileLocksEpisodeAndShowAndTakesTheShowSummary) {
  EditForm e;
  e.title = "Show One";
  e.isLock = "true";
  e.season = "1";
  e.episode = "1";
  e.tagLine = "Pilot";
  e.tvshowSummary = "About show one";
  ASSERT_TRUE(e.SaveFile(api_, VIDEO_TABLE_TVSHOW_EPISODE, "/v/one/1.mkv", FileId("/v/one/1.mkv")));
  EXPECT_EQ(Owner("tvshow_episode", "/v/one/1.mkv",
                  "t.tag_line || t.isLock || (SELECT isLock FROM tvshow WHERE id = t.tvshow_id)"),
            "Pilottruetrue");
  EXPECT_EQ(Value("SELECT summary FROM summary su JOIN tvshow s ON s.mapper_id = su.mapper_id"
                  " WHERE s.title = 'Show One'"),
            "About show one");
}

TEST_F(MetadataEditTest, RefusedEditsWriteNothing) {
  const Rows before = Snapshot();
  EditForm e;
  e.title = "Beta";
  e.isLock = "false";
  e.recordTime = "2013-01-01 00:00:00";
  // Exactly one of item and file; a kind that is edited; a decimal id.
  EXPECT_FALSE(e.Edit(api_, VIDEO_TABLE_MOVIE, IdOf("movie", "Alpha"), FileId("/v/Beta.mkv")));
  EXPECT_FALSE(e.Edit(api_, VIDEO_TABLE_MOVIE, "", ""));
  EXPECT_FALSE(e.Edit(api_, VIDEO_TABLE_SUMMARY, "1", ""));
  EXPECT_FALSE(e.Edit(api_, VIDEO_TABLE_MOVIE, "1; DELETE FROM movie", ""));
  EXPECT_EQ(e.Insert(api_, VIDEO_TABLE_MOVIE, "1 OR 1=1"), 0);
  // Shows and recordings are not edited through files, and succeed.
  EXPECT_TRUE(e.SaveFile(api_, VIDEO_TABLE_TVSHOW, "/v/one/1.mkv", "4"));
  EXPECT_TRUE(e.SaveFile(api_, VIDEO_TABLE_TV_RECORD, "/v/news.ts", "9"));
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "", "1"));
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/no-such-file.mkv", "1"));
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/one/1.mkv", "4")) << "holds an episode";
  // Without a lock, or a home video without a record time.
  e.isLock = "";
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Beta.mkv", "3"));
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_TVSHOW_EPISODE, "/v/one/1.mkv", "4"));
  e.isLock = "false";
  e.recordTime = "";
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_HOME_VIDEO, "/v/home.mkv", "8"));
  EXPECT_EQ(Snapshot(), before);
}

TEST_F(MetadataEditTest, MovieIsUpdatedInPlaceOrMergedIntoTheOwnerOfItsNewIdentity) {
  const std::string alphaId = IdOf("movie", "Alpha");
  EditForm e;
  e.isLock = "true";
  e.title = "Alpha Returns";
  e.date = "2001-09-09";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_MOVIE, alphaId, ""));
  EXPECT_EQ(
      MovieFiles(),
      "Alpha Returns 2001:/v/Alpha-2.mkv,Alpha Returns 2001:/v/Alpha.mkv,Beta 2003:/v/Beta.mkv");
  EXPECT_EQ(IdOf("movie", "Alpha Returns"), alphaId);

  // Beta has the edited identity: it keeps its own title, summary and
  // actors, and gains the files.
  e.title = "beta";
  e.date = "2003";
  e.summary = "not written";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_MOVIE, alphaId, ""));
  EXPECT_EQ(MovieFiles(), "Beta 2003:/v/Alpha-2.mkv,Beta 2003:/v/Alpha.mkv,Beta 2003:/v/Beta.mkv");
  EXPECT_EQ(Value("SELECT string_agg(actor, '|') FROM actor"), "Bob");
  EXPECT_EQ(Count("summary WHERE summary = 'not written'"), 0);

  // InsertHandler writes the edit through every file of the item.
  e.title = "Gamma";
  e.date = "1999";
  EXPECT_EQ(e.Insert(api_, VIDEO_TABLE_MOVIE, IdOf("movie", "Beta")), 1);
  EXPECT_EQ(MovieFiles(),
            "Gamma 1999:/v/Alpha-2.mkv,Gamma 1999:/v/Alpha.mkv,Gamma 1999:/v/Beta.mkv");
  Exec("DELETE FROM video_file WHERE mapper_id IN (SELECT mapper_id FROM movie)");
  EXPECT_EQ(e.Insert(api_, VIDEO_TABLE_MOVIE, IdOf("movie", "Gamma")), 0) << "no file to save";

  // Recordings are never merged, even into one of the same title; by file
  // the file's description is saved again.
  e.title = "News";
  e.channel = "Channel 9";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TV_RECORD, IdOf("tv_record", "News"), ""));
  EXPECT_EQ(Value("SELECT channel_name FROM tv_record"), "Channel 9");
  e.title = "Party at Home";
  e.recordTime = "2012-06-01 10:00:00";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_HOME_VIDEO, "", FileId("/v/home.mkv")));
  EXPECT_EQ(Value("SELECT title FROM home_video"), "Party at Home");
}

TEST_F(MetadataEditTest, EpisodeChangingShowsJoinsOrCreatesTheShow) {
  EditForm e;
  e.isLock = "false";
  e.season = "1";
  e.episode = "2";
  e.title = "Show Two";
  e.tvshowDate = "2015";
  auto edit = [&](const std::string& path) {
    return e.Edit(api_, VIDEO_TABLE_TVSHOW_EPISODE, Owner("tvshow_episode", path, "t.id"), "");
  };
  // Show Two has a 1x2: Show One's 1x2 merges into it.
  ASSERT_TRUE(edit("/v/one/2.mkv"));
  EXPECT_EQ(EpisodeFiles(),
            "Show One 1x1:/v/one/1.mkv,Show Two 1x2:/v/one/2.mkv,"
            "Show Two 1x2:/v/two/2.mkv,Show Two 1x3:/v/two/3.mkv");
  // Show Two has no 1x1: the episode is saved again under Show Two, and the
  // save removes Show One, which it left without episodes.
  e.episode = "1";
  ASSERT_TRUE(edit("/v/one/1.mkv"));
  EXPECT_EQ(EpisodeFiles(),
            "Show Two 1x1:/v/one/1.mkv,Show Two 1x2:/v/one/2.mkv,"
            "Show Two 1x2:/v/two/2.mkv,Show Two 1x3:/v/two/3.mkv");
  // A show title that no show has: saving the file creates the show.
  e.title = "Show Three";
  e.tvshowDate = "2020";
  ASSERT_TRUE(edit("/v/two/3.mkv"));
  EXPECT_EQ(Shows(), "Show Three 2020,Show Two 2015");
  EXPECT_NE(EpisodeFiles().find("Show Three 1x1:/v/two/3.mkv"), std::string::npos);
  // Show Three's only episode merges into Show Two's 1x1: the show goes with it.
  e.title = "Show Two";
  e.tvshowDate = "2015";
  ASSERT_TRUE(edit("/v/two/3.mkv"));
  EXPECT_EQ(Shows(), "Show Two 2015");
  EXPECT_NE(EpisodeFiles().find("Show Two 1x1:/v/two/3.mkv"), std::string::npos);
}

TEST_F(MetadataEditTest, ShowTakingAnotherShowsIdentityGivesItItsEpisodes) {
  EditForm e;
  e.title = "Show Two";
  e.date = "2015";
  e.isLock = "false";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TVSHOW, IdOf("tvshow", "Show One"), ""));
  // The shared 1x2 became one episode; 1x1 changed shows; Show One is gone.
  EXPECT_EQ(EpisodeFiles(),
            "Show Two 1x1:/v/one/1.mkv,Show Two 1x2:/v/one/2.mkv,"
            "Show Two 1x2:/v/two/2.mkv,Show Two 1x3:/v/two/3.mkv");
  EXPECT_EQ(Shows(), "Show Two 2015");
  EXPECT_EQ(Count("tvshow_episode"), 3);
}

TEST_F(MetadataEditTest, AMergedMovieHandsItsCollectionMembershipsOn) {
  const std::string alpha = IdOf("movie", "Alpha"), beta = IdOf("movie", "Beta");
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

TEST_F(MetadataEditTest, AnEpisodeMovedIntoAnExistingShowLeavesThatShowItsMetadata) {
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
  const std::string spiesMapper = Value("SELECT mapper_id FROM tvshow WHERE title = 'Spies'");
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
                     Owner("tvshow_episode", "/v/alias.mkv", "t.id"), ""));
  EXPECT_EQ(Value("SELECT count(*) FROM tvshow_episode e JOIN tvshow s ON s.id = e.tvshow_id"
                  " WHERE s.title = 'Spies'"),
            "2");
  EXPECT_EQ(spiesShow(), before);
}

}  // namespace
}  // namespace kinolot_test
