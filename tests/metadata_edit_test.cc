// Saving edits end to end on a library stored through the indexing
// interface: a file's description re-saved with edited values, an item
// updated in place, and items merged into the one that already has the
// edited identity, for every kind.
#include <gtest/gtest.h>

#include <string>

#include "kinolot/video_info_store.h"
#include "support/edit_form.h"
#include "support/test_database.h"
#include "video_info_test_util.h"

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
    Set(alpha.summary, "Alpha's summary");
    ASSERT_TRUE(StoreVideo("/v/Alpha.mkv", alpha));
    ASSERT_TRUE(StoreVideo("/v/Alpha-2.mkv", alpha));
    _VIDEO_INFO_ beta = Movie("Beta", 2003);
    beta.actor = {"Bob"};
    ASSERT_TRUE(StoreVideo("/v/Beta.mkv", beta));
    ASSERT_TRUE(StoreVideo("/v/one/s1e1.mkv", Episode("Show One", 2010, 1, 1)));
    ASSERT_TRUE(StoreVideo("/v/one/s1e2.mkv", Episode("Show One", 2010, 1, 2)));
    ASSERT_TRUE(StoreVideo("/v/two/s1e2.mkv", Episode("Show Two", 2015, 1, 2)));
    ASSERT_TRUE(StoreVideo("/v/two/s1e3.mkv", Episode("Show Two", 2015, 1, 3)));
    ASSERT_TRUE(StoreVideo("/v/home.mkv",
                           Recording(VIDEO_TYPE_HOME_VIDEO, "Party", "2012-06-01 10:00:00")));
    ASSERT_TRUE(
        StoreVideo("/v/news.ts", Recording(VIDEO_TYPE_TV_RECORD, "News", "2020-01-01 20:00:00")));
    MarkStatements();
  }

  std::string FileId(const std::string& path) {
    return Value("SELECT id FROM video_file WHERE path = '" + path + "'");
  }
  std::string IdOf(const std::string& table, const std::string& title) {
    return Value("SELECT id FROM " + table + " WHERE title = '" + title + "'");
  }
  std::string EpisodeId(const std::string& path) {
    return Value(
        "SELECT e.id FROM tvshow_episode e JOIN video_file f ON f.mapper_id = e.mapper_id"
        " WHERE f.path = '" +
        path + "'");
  }
  // "<title>:<path>,..." for the files of the movies, to see where files went.
  std::string MovieFiles() {
    return Value(
        "SELECT string_agg(m.title || ':' || f.path, ',' ORDER BY f.path) FROM movie m"
        " JOIN video_file f ON f.mapper_id = m.mapper_id");
  }
  // "<show> <season>x<episode>:<path>,..." for every episode file.
  std::string EpisodeFiles() {
    return Value(
        "SELECT string_agg(s.title || ' ' || e.season || 'x' || e.episode || ':' || f.path, ','"
        " ORDER BY f.path) FROM tvshow s JOIN tvshow_episode e ON e.tvshow_id = s.id"
        " JOIN video_file f ON f.mapper_id = e.mapper_id");
  }
  std::string Shows() {
    return Value("SELECT string_agg(title || ' ' || year, ',' ORDER BY title) FROM tvshow");
  }
  std::string PlusInfo(const std::string& table, const std::string& id) {
    return Value("SELECT p.plus_info FROM plus_info p JOIN " + table +
                 " t ON t.mapper_id = p.mapper_id WHERE t.id = " + id);
  }
  std::string Everything() {
    return MovieFiles() + EpisodeFiles() + Shows() + Value("SELECT count(*) FROM mapper") +
           Value("SELECT max(modify_date)::text FROM movie") +
           Value("SELECT string_agg(plus_info, ',' ORDER BY id) FROM plus_info");
  }

  VideoMetadataAPI api_;
};

TEST_F(MetadataEditTest, MovieFileKeepsItsExtraInformationOnlyUnderTheSameIdentity) {
  const std::string alphaId = IdOf("movie", "Alpha");
  const std::string stored = PlusInfo("movie", alphaId);
  EditForm e;
  e.title = "ALPHA";  // letter case alone is no new identity: the title stays
  e.isLock = "true";
  e.summary = "New summary";
  e.actor = "Zed|Ann";
  ASSERT_TRUE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Alpha.mkv", FileId("/v/Alpha.mkv")));
  EXPECT_EQ(PlusInfo("movie", alphaId), stored);  // read and saved, not re-quoted
  EXPECT_EQ(Value("SELECT title || ' ' || isLock FROM movie WHERE id = " + alphaId), "Alpha true");
  EXPECT_EQ(Value("SELECT string_agg(actor, '|' ORDER BY a.id) FROM actor a JOIN movie m ON"
                  " m.mapper_id = a.mapper_id WHERE m.id = " +
                  alphaId),
            "Zed|Ann");

  // A new year is a new identity: the file moves to a new movie whose extra
  // information starts empty.
  e.date = "2005-02-03";
  ASSERT_TRUE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Alpha.mkv", FileId("/v/Alpha.mkv")));
  EXPECT_EQ(Value("SELECT year || ' ' || originally_available || ' ' || isLock FROM movie"
                  " WHERE id = " +
                  IdOf("movie", "ALPHA") + " AND year = 2005"),
            "2005 2005-02-03 true");
  EXPECT_EQ(MovieFiles(), "Alpha:/v/Alpha-2.mkv,ALPHA:/v/Alpha.mkv,Beta:/v/Beta.mkv");
  EXPECT_EQ(Value("SELECT coalesce(p.plus_info, '') FROM movie m JOIN plus_info p ON"
                  " p.mapper_id = m.mapper_id WHERE m.year = 2005"),
            "");

  // New extra information is taken; one character counts as none.
  e.plusInfo = R"({"rating": "9"} // from the form)";
  ASSERT_TRUE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Beta.mkv", FileId("/v/Beta.mkv")));
  EXPECT_NE(Value("SELECT plus_info FROM plus_info p JOIN video_file f ON f.mapper_id ="
                  " p.mapper_id WHERE f.path = '/v/Beta.mkv'")
                .find("\"rating\" : \"9\""),
            std::string::npos);
  e.plusInfo = "{bad";
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Beta.mkv", FileId("/v/Beta.mkv")));
  // Nesting deeper than the JSON reader allows is a parse error too, whether
  // sent with the edit or read back with the file's description.
  const std::string deep(5000, '[');
  e.plusInfo = deep.c_str();
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Beta.mkv", FileId("/v/Beta.mkv")));
  Exec("UPDATE plus_info SET plus_info = '" + deep + "'");
  e.plusInfo = nullptr;
  EXPECT_TRUE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Beta.mkv", FileId("/v/Beta.mkv")));
}

TEST_F(MetadataEditTest, FileEditsCheckTheirInputBeforeWriting) {
  const std::string before = Everything();
  EditForm e;
  e.title = "Anything";
  e.isLock = "false";
  e.recordTime = "2013-01-01 00:00:00";
  // Shows and recordings are not edited through files.
  EXPECT_TRUE(e.SaveFile(api_, VIDEO_TABLE_TVSHOW, "/v/one/s1e1.mkv", "4"));
  EXPECT_TRUE(e.SaveFile(api_, VIDEO_TABLE_TV_RECORD, "/v/news.ts", "9"));
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "", "1"));
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/no-such-file.mkv", "1"));
  // The path holds an episode, not a movie.
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/one/s1e1.mkv", "4"));
  e.isLock = "";
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_MOVIE, "/v/Beta.mkv", "3"));
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_TVSHOW_EPISODE, "/v/one/s1e1.mkv", "4"));
  e.recordTime = "";
  EXPECT_FALSE(e.SaveFile(api_, VIDEO_TABLE_HOME_VIDEO, "/v/home.mkv", "8"));
  EXPECT_EQ(Everything(), before);
  EXPECT_EQ(e.Insert(api_, VIDEO_TABLE_MOVIE, "1 OR 1=1"), 0);
}

TEST_F(MetadataEditTest, EpisodeFileLocksEpisodeAndShowAndTakesTheShowValues) {
  EditForm e;
  e.title = "Show One";
  e.isLock = "true";
  e.season = "1";
  e.episode = "1";
  e.tagLine = "Pilot";
  e.tvshowSummary = "About show one";
  ASSERT_TRUE(
      e.SaveFile(api_, VIDEO_TABLE_TVSHOW_EPISODE, "/v/one/s1e1.mkv", FileId("/v/one/s1e1.mkv")));
  const std::string episodeId = EpisodeId("/v/one/s1e1.mkv");
  EXPECT_EQ(Value("SELECT e.tag_line || ' ' || e.isLock || ' ' || s.isLock FROM tvshow_episode e"
                  " JOIN tvshow s ON s.id = e.tvshow_id WHERE e.id = " +
                  episodeId),
            "Pilot true true");
  EXPECT_EQ(Value("SELECT summary FROM summary su JOIN tvshow s ON s.mapper_id = su.mapper_id"
                  " WHERE s.title = 'Show One'"),
            "About show one");
  EXPECT_EQ(EpisodeFiles(),
            "Show One 1x1:/v/one/s1e1.mkv,Show One 1x2:/v/one/s1e2.mkv,"
            "Show Two 1x2:/v/two/s1e2.mkv,Show Two 1x3:/v/two/s1e3.mkv");

  // Under a new episode number the file's episode drops the old episode's
  // extra information; the show, still the same, keeps its own.
  Exec("UPDATE plus_info SET plus_info = '{\"k\": \"v\"}'");
  e.episode = "5";
  ASSERT_TRUE(
      e.SaveFile(api_, VIDEO_TABLE_TVSHOW_EPISODE, "/v/one/s1e1.mkv", FileId("/v/one/s1e1.mkv")));
  EXPECT_EQ(PlusInfo("tvshow_episode", EpisodeId("/v/one/s1e1.mkv")).find("\"k\""),
            std::string::npos);
  EXPECT_NE(PlusInfo("tvshow", IdOf("tvshow", "Show One")).find("\"k\""), std::string::npos);
}

TEST_F(MetadataEditTest, InsertHandlerSavesEveryFileOfTheItem) {
  EditForm e;
  e.title = "Gamma";
  e.isLock = "false";
  e.date = "1999";
  EXPECT_EQ(e.Insert(api_, VIDEO_TABLE_MOVIE, IdOf("movie", "Alpha")), 1);
  EXPECT_EQ(MovieFiles(), "Gamma:/v/Alpha-2.mkv,Gamma:/v/Alpha.mkv,Beta:/v/Beta.mkv");
  EXPECT_EQ(Value("SELECT count(*) FROM movie WHERE title = 'Gamma' AND year = 1999"), "1");
  // An item without files has nothing to write through.
  Exec("DELETE FROM video_file WHERE path = '/v/Beta.mkv'");
  EXPECT_EQ(e.Insert(api_, VIDEO_TABLE_MOVIE, IdOf("movie", "Beta")), 0);
}

TEST_F(MetadataEditTest, EditTakesExactlyOneOfItemAndFile) {
  const std::string before = Everything();
  EditForm e;
  e.title = "Beta";
  e.isLock = "false";
  EXPECT_FALSE(e.Edit(api_, VIDEO_TABLE_MOVIE, IdOf("movie", "Alpha"), FileId("/v/Beta.mkv")));
  EXPECT_FALSE(e.Edit(api_, VIDEO_TABLE_MOVIE, "", ""));
  EXPECT_FALSE(e.Edit(api_, VIDEO_TABLE_SUMMARY, "1", ""));
  EXPECT_FALSE(e.Edit(api_, VIDEO_TABLE_MOVIE, "1; DELETE FROM movie", ""));
  EXPECT_EQ(Everything(), before);

  // By file: the file's description is re-saved.
  e.title = "Party at Home";
  e.recordTime = "2012-06-01 10:00:00";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_HOME_VIDEO, "", FileId("/v/home.mkv")));
  EXPECT_EQ(Value("SELECT title FROM home_video"), "Party at Home");
}

TEST_F(MetadataEditTest, MovieTakingAnotherMoviesIdentityIsMergedIntoIt) {
  EditForm e;
  e.title = "beta";
  e.date = "2003";
  e.isLock = "false";
  e.summary = "not written";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_MOVIE, IdOf("movie", "Alpha"), ""));
  // Beta keeps its own title, summary and actors, and gains Alpha's files.
  EXPECT_EQ(MovieFiles(), "Beta:/v/Alpha-2.mkv,Beta:/v/Alpha.mkv,Beta:/v/Beta.mkv");
  EXPECT_EQ(Value("SELECT count(*) FROM movie"), "1");
  EXPECT_EQ(Value("SELECT string_agg(actor, '|') FROM actor"), "Bob");
  EXPECT_EQ(Value("SELECT count(*) FROM summary WHERE summary = 'not written'"), "0");
}

TEST_F(MetadataEditTest, MovieKeepingOrTakingAFreeIdentityIsUpdatedInPlace) {
  const std::string alphaId = IdOf("movie", "Alpha");
  EditForm e;
  e.title = "Alpha";  // the stored date's year stays: the movie finds itself
  e.isLock = "true";
  e.summary = "Edited";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_MOVIE, alphaId, ""));
  EXPECT_EQ(Value("SELECT isLock FROM movie WHERE id = " + alphaId), "t");
  EXPECT_EQ(PlusInfo("movie", alphaId), "{}");  // no extra information sent

  e.title = "Alpha Returns";
  e.date = "2001-09-09";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_MOVIE, alphaId, ""));
  EXPECT_EQ(Value("SELECT title || ' ' || year FROM movie WHERE id = " + alphaId),
            "Alpha Returns 2001");
  EXPECT_EQ(MovieFiles(),
            "Alpha Returns:/v/Alpha-2.mkv,Alpha Returns:/v/Alpha.mkv,Beta:/v/Beta.mkv");

  // Recordings are never merged, even into a recording of the same title.
  e.title = "News";
  e.channel = "Channel 9";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TV_RECORD, IdOf("tv_record", "News"), ""));
  EXPECT_EQ(Value("SELECT channel_name FROM tv_record"), "Channel 9");
}

TEST_F(MetadataEditTest, EpisodeMovedOntoAnotherEpisodeOfItsShowIsMergedIntoIt) {
  EditForm e;
  e.title = "Show One";
  e.isLock = "false";
  e.season = "1";
  e.episode = "2";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TVSHOW_EPISODE, EpisodeId("/v/one/s1e1.mkv"), ""));
  EXPECT_EQ(EpisodeFiles(),
            "Show One 1x2:/v/one/s1e1.mkv,Show One 1x2:/v/one/s1e2.mkv,"
            "Show Two 1x2:/v/two/s1e2.mkv,Show Two 1x3:/v/two/s1e3.mkv");
  EXPECT_EQ(Value("SELECT count(*) FROM tvshow_episode"), "3");

  // A free season and episode: the episode changes in place, and its show
  // takes the show values.
  e.episode = "7";
  e.tvshowDate = "2010";
  e.tvshowSummary = "Show summary";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TVSHOW_EPISODE, EpisodeId("/v/one/s1e2.mkv"), ""));
  EXPECT_EQ(EpisodeFiles(),
            "Show One 1x7:/v/one/s1e1.mkv,Show One 1x7:/v/one/s1e2.mkv,"
            "Show Two 1x2:/v/two/s1e2.mkv,Show Two 1x3:/v/two/s1e3.mkv");
  EXPECT_EQ(Value("SELECT summary FROM summary su JOIN tvshow s ON s.mapper_id = su.mapper_id"
                  " WHERE s.title = 'Show One'"),
            "Show summary");
}

TEST_F(MetadataEditTest, EpisodeChangingShowsJoinsOrCreatesTheShow) {
  EditForm e;
  e.isLock = "false";
  e.season = "1";
  e.episode = "2";
  // Show Two has a 1x2: Show One's 1x2 merges into it.
  e.title = "Show Two";
  e.tvshowDate = "2015";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TVSHOW_EPISODE, EpisodeId("/v/one/s1e2.mkv"), ""));
  EXPECT_EQ(EpisodeFiles(),
            "Show One 1x1:/v/one/s1e1.mkv,Show Two 1x2:/v/one/s1e2.mkv,"
            "Show Two 1x2:/v/two/s1e2.mkv,Show Two 1x3:/v/two/s1e3.mkv");

  // Show Two has no 1x1: the episode is saved again under Show Two, and the
  // save removes Show One, which it left without episodes.
  e.episode = "1";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TVSHOW_EPISODE, EpisodeId("/v/one/s1e1.mkv"), ""));
  EXPECT_EQ(EpisodeFiles(),
            "Show Two 1x1:/v/one/s1e1.mkv,Show Two 1x2:/v/one/s1e2.mkv,"
            "Show Two 1x2:/v/two/s1e2.mkv,Show Two 1x3:/v/two/s1e3.mkv");

  // A show title that no show has: saving the file creates the show.
  e.title = "Show Three";
  e.tvshowDate = "2020";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TVSHOW_EPISODE, EpisodeId("/v/two/s1e3.mkv"), ""));
  EXPECT_NE(EpisodeFiles().find("Show Three 1x1:/v/two/s1e3.mkv"), std::string::npos);
  EXPECT_EQ(Value("SELECT count(*) FROM tvshow WHERE title = 'Show Three' AND year = 2020"), "1");

  // Show Three's only episode merges into Show Two's 1x1: the show goes with it.
  e.title = "Show Two";
  e.tvshowDate = "2015";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TVSHOW_EPISODE, EpisodeId("/v/two/s1e3.mkv"), ""));
  EXPECT_EQ(Shows(), "Show Two 2015");
  EXPECT_NE(EpisodeFiles().find("Show Two 1x1:/v/two/s1e3.mkv"), std::string::npos);
}

TEST_F(MetadataEditTest, ShowTakingAnotherShowsIdentityGivesItItsEpisodes) {
  EditForm e;
  e.title = "Show Two";
  e.date = "2015";
  e.isLock = "false";
  ASSERT_TRUE(e.Edit(api_, VIDEO_TABLE_TVSHOW, IdOf("tvshow", "Show One"), ""));
  // The shared 1x2 became one episode; 1x1 changed shows; Show One is gone.
  EXPECT_EQ(EpisodeFiles(),
            "Show Two 1x1:/v/one/s1e1.mkv,Show Two 1x2:/v/one/s1e2.mkv,"
            "Show Two 1x2:/v/two/s1e2.mkv,Show Two 1x3:/v/two/s1e3.mkv");
  EXPECT_EQ(Shows(), "Show Two 2015");
  EXPECT_EQ(Value("SELECT count(*) FROM tvshow_episode"), "3");
}

}  // namespace
}  // namespace kinolot_test
