// The kinolot program's read and edit commands, run as the built binary
// against the test database: the JSON each prints for a small library stored
// through the indexing interface, what edits, collection and poster commands
// leave in the database, and the exit statuses and messages of bad
// arguments and of an unreachable database.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kinolot/video_metadata_api.h"
#include "support/run_program.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using Result = Ran;
Result Kinolot(const std::vector<std::string>& args, const std::string& env = "") {
  return RunProgram(KINOLOT_PROGRAM, args, env);
}

std::vector<std::string> Titles(const Json::Value& items) {
  std::vector<std::string> titles;
  for (const Json::Value& item : items) titles.push_back(item["title"].asString());
  return titles;
}

class KinolotCommandTest : public DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
    _VIDEO_INFO_ movie = Movie("It's Me", 0);
    Set(movie.originally_available, "2009-05-01");
    ASSERT_TRUE(StoreVideo("/lib/It's Me.mkv", movie));
    movie = Movie("Night Train", 2011);
    movie.actor = {"Jane Roe", "Émile Dubois"};
    movie.gnere = {"Drama"};
    Set(movie.summary, "A 100% \"true\" story");
    ASSERT_TRUE(StoreVideo("/lib/Night Train.mkv", movie));
    for (int number : {1, 2}) {
      _VIDEO_INFO_TVSHOW_ episode = Episode("Señora Show", 0, 1, number);
      Set(episode.originally_available, "2020");
      ASSERT_TRUE(StoreVideo("/lib/Show/S01E0" + std::to_string(number) + ".mkv", episode));
    }
    _VIDEO_INFO_ news = Recording(VIDEO_TYPE_TV_RECORD, "Evening News", "2022-03-01 20:00:00");
    Set(news.channel_name, "Channel 5");
    ASSERT_TRUE(StoreVideo("/lib/News.ts", news));
    VideoDBConnClose();
  }

  std::string MovieId(const std::string& title) {
    return Value("SELECT id FROM movie WHERE title = " + Quoted(title));
  }
};

TEST_F(KinolotCommandTest, ReadCommandsPrintTheLibrarysAnswers) {
  struct Case {
    std::vector<std::string> args;
    const char* key;
    std::vector<std::string> titles;  // of the items under `key`
    unsigned total;
  };
  const Case cases[] = {
      {{"list", "movies"}, "movies", {"It's Me", "Night Train"}, 2},
      {{"list", "movie", "--desc", "--limit", "1"}, "movies", {"Night Train"}, 2},
      {{"list", "Shows"}, "tvshows", {"Señora Show"}, 1},
      {{"list", "episodes", "--year", "2020"}, "episodes", {"Señora Show", "Señora Show"}, 2},
      {{"list", "recordings"}, "recordings", {"Evening News"}, 1},
      {{"search", "movies", "train"}, "movies", {"Night Train"}, 1},
      {{"search", "movies", "--actor", "roe"}, "movies", {"Night Train"}, 1},
      {{"search", "movies", "émile", "--any", "title,actor"}, "movies", {"Night Train"}, 1},
      {{"search", "recordings", "--channel", "5"}, "recordings", {"Evening News"}, 1},
  };
  for (const Case& c : cases) {
    Result r = Kinolot(c.args);
    SCOPED_TRACE(testing::PrintToString(c.args) + " -> " + r.out + r.err);
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(Titles(r.json[c.key]), c.titles);
    EXPECT_EQ(r.json["total"].asUInt(), c.total);
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << "one compact line in a pipe";
  }

  // The answer is the library's own, additional information included.
  Result list = Kinolot({"list", "movies", "--with", "all"});
  VideoMetadataAPI api;
  Json::Value expected;
  unsigned long total, count;
  api.List(VIDEO_TABLE_MOVIE, 0, 0, static_cast<_VIDEO_ADDITIONAL_>(0x1fb), "sort_title",
           ORDER_DIRECTION_ASC, "", nullptr, nullptr, nullptr, nullptr, "", expected, total, count);
  Json::StreamWriterBuilder compact;
  compact["indentation"] = "";
  compact["emitUTF8"] = true;
  EXPECT_EQ(list.out, Json::writeString(compact, expected) + "\n");

  // Browse ids lead to list filters.
  Result actors = Kinolot({"browse", "movies", "actors"});
  ASSERT_EQ(actors.status, 0) << actors.err;
  ASSERT_EQ(actors.json["metadatas"].size(), 3u) << actors.out;  // two names, then "no actor"
  EXPECT_EQ(actors.json["metadatas"][0]["name"], "Jane Roe");
  std::string jane = actors.json["metadatas"][0]["id"].asString();
  EXPECT_EQ(Titles(Kinolot({"list", "movies", "--actor", jane}).json["movies"]),
            std::vector<std::string>{"Night Train"});
  EXPECT_EQ(Titles(Kinolot({"list", "movies", "--actor", ""}).json["movies"]),
            std::vector<std::string>{"It's Me"});

  Result info = Kinolot({"info", "movie", MovieId("Night Train")});
  ASSERT_EQ(info.status, 0) << info.err;
  EXPECT_EQ(info.json["movies"][0]["additional"]["files"][0]["path"], "/lib/Night Train.mkv");
  EXPECT_FALSE(info.json["movies"][0]["additional"].isMember("episode"))
      << "a show's episodes are never attached to the movie of the same id";
  Result missing = Kinolot({"info", "movie", "999"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("no movie has the id 999"), std::string::npos);
}

TEST_F(KinolotCommandTest, EditKeepsWhatItIsNotToldAndShowsTheItemAMergeLeads) {
  const std::string night = MovieId("Night Train");
  Result r = Kinolot({"edit", "movie", night, "--tagline", "All aboard", "--lock"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_FALSE(r.json["merged"].asBool());
  EXPECT_EQ(Value("SELECT tag_line || '|' || isLock FROM movie WHERE id = " + night),
            "All aboard|true");
  EXPECT_EQ(Value("SELECT summary FROM summary WHERE summary LIKE 'A 100%'"),
            "A 100% \"true\" story");
  EXPECT_EQ(Value("SELECT string_agg(actor, '|' ORDER BY id) FROM actor"), "Jane Roe|Émile Dubois");

  r = Kinolot({"edit", "movie", night, "--actor", "Ann|Bob", "--actor", "Cy", "--genre", ""});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Value("SELECT string_agg(actor, '|' ORDER BY id) FROM actor"), "Ann|Bob|Cy");
  EXPECT_EQ(Count("gnere"), 0);

  // Taking the other movie's title and year merges into it.
  r = Kinolot({"edit", "movie", MovieId("It's Me"), "--title", "Night Train", "--date", "2011"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(r.json["merged"].asBool());
  EXPECT_EQ(r.json["movies"][0]["id"], night);
  EXPECT_EQ(r.json["movies"][0]["additional"]["files"].size(), 2u);
  EXPECT_EQ(Count("movie"), 1);

  for (const std::vector<std::string>& bad :
       std::vector<std::vector<std::string>>{{"edit", "movie", night, "--channel", "Arte"},
                                             {"edit", "movie", night, "--title", ""},
                                             {"edit", "movie", night, "--extra", "[1]"},
                                             {"edit", "movie", night, "--date", "not a date"},
                                             {"edit", "movie", night, "--date", "99999-01-01"},
                                             {"edit", "movie", night, "--lock", "--unlock"}}) {
    EXPECT_EQ(Kinolot(bad).status, 2) << testing::PrintToString(bad);
  }
  EXPECT_EQ(Value("SELECT title FROM movie"), "Night Train");
}

TEST_F(KinolotCommandTest, CollectionsCountOnlyTheirOwnMembers) {
  Result created = Kinolot({"collection", "create", "Kids' films", "--user", "1024"});
  ASSERT_EQ(created.status, 0) << created.err;
  const std::string kids = created.json["id"].asString();
  EXPECT_EQ(Kinolot({"collection", "create", "Kids' films", "--user", "1024"}).json["id"], kids);
  const std::string other =
      Kinolot({"collection", "create", "Other", "--user", "1"}).json["id"].asString();
  std::string episode = Value("SELECT min(id) FROM tvshow_episode");
  ASSERT_EQ(Kinolot({"collection", "add", other, "episode", episode}).status, 0);

  EXPECT_EQ(Kinolot({"collection", "add", kids, "movie", MovieId("It's Me")}).json["member"], true);
  EXPECT_EQ(
      Kinolot({"collection", "add", kids, "recording", Value("SELECT id FROM tv_record")}).status,
      0);
  Result list = Kinolot({"collection", "list", kids});
  ASSERT_EQ(list.status, 0) << list.err;
  EXPECT_EQ(Titles(list.json["videos"]), (std::vector<std::string>{"Evening News", "It's Me"}));
  EXPECT_EQ(list.json["total"], 2) << "the other collection's episode is not counted";
  Result page = Kinolot({"collection", "list", kids, "--offset", "1", "--limit", "5"});
  EXPECT_EQ(Titles(page.json["videos"]), std::vector<std::string>{"It's Me"});
  EXPECT_EQ(page.json["offset"], 2);
  EXPECT_EQ(Titles(Kinolot({"collection", "search", kids, "it's"}).json["videos"]),
            std::vector<std::string>{"It's Me"});
  Result mine = Kinolot({"collection", "list", "--user", "1024"});
  EXPECT_EQ(Titles(mine.json["collections"]), std::vector<std::string>{"Kids' films"});

  EXPECT_EQ(Kinolot({"collection", "remove", kids, "movie", MovieId("It's Me")}).json["member"],
            false);
  EXPECT_EQ(Value("SELECT count(*) FROM collection_map WHERE collection_id = " + kids), "1");
  EXPECT_EQ(Kinolot({"collection", "add", kids, "movie", "999"}).status, 1);
  EXPECT_EQ(Kinolot({"collection", "add", kids, "show", "1"}).status, 2);
  EXPECT_EQ(Kinolot({"collection", "list", "999"}).status, 1);
}

TEST_F(KinolotCommandTest, PosterSetStoresAnImageFileAndRefusesOtherFiles) {
  const std::string image = "/tmp/kinolot-command-poster.jpg";
  std::ofstream(image, std::ios::binary) << std::string("\xFF\xD8\xFF\xE0", 4) << "not much more";
  Result r = Kinolot({"poster", "set", "movie", MovieId("It's Me"), image});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.json["md5"].asString().size(), 32u);
  EXPECT_EQ(Value("SELECT md5 FROM poster"), r.json["md5"].asString());

  EXPECT_EQ(Kinolot({"poster", "set", "movie", MovieId("It's Me"), "/etc/hostname"}).status, 2);
  EXPECT_EQ(Kinolot({"poster", "set", "movie", "999", image}).status, 1);
  EXPECT_EQ(Count("poster"), 1);
  unlink(image.c_str());
}

TEST_F(KinolotCommandTest, BadArgumentsAndAnUnreachableDatabaseExitWithStatusTwo) {
  struct Case {
    std::vector<std::string> args;
    const char* message;  // the one-line error
    const char* usage;
  };
  const Case cases[] = {
      {{}, "A subcommand is required", "Usage: kinolot [OPTIONS] SUBCOMMAND"},
      {{"list"}, "KIND is required", "Usage: kinolot list [OPTIONS] KIND"},
      {{"list", "films"}, "'films' is not a kind", "Usage: kinolot list"},
      {{"browse", "shows", "actors"}, "'shows' is not a kind this command takes", "browse"},
      {{"browse", "movies", "colours"}, "'colours' is no category", "browse"},
      {{"info", "movie", "1 or 1=1"}, "is not an id", "Usage: kinolot info [OPTIONS] KIND ID"},
      {{"list", "movies", "--limit", "-1"}, "is not a count", "list"},
      {{"list", "movies", "--sort", "title; DROP"}, "is not a column name", "list"},
      {{"list", "movies", "--with", "plot"}, "names no additional", "list"},
      {{"collection", "frobnicate"}, "'frobnicate' is not a command", "Usage: kinolot collection"},
  };
  for (const Case& c : cases) {
    Result r = Kinolot(c.args);
    SCOPED_TRACE(testing::PrintToString(c.args) + " -> " + r.err);
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(r.out.empty());
    EXPECT_NE(r.err.find(c.message), std::string::npos);
    EXPECT_NE(r.err.find(c.usage), std::string::npos);
  }

  Result help = Kinolot({"edit", "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("--show-summary"), std::string::npos) << help.out;

  // PGHOST, and --host over a good PGHOST.
  for (bool option : {false, true}) {
    Result r = option ? Kinolot({"list", "movies", "--host", "/nonexistent-kinolot"})
                      : Kinolot({"list", "movies"}, "PGHOST=/nonexistent-kinolot");
    EXPECT_EQ(r.status, 2) << option;
    EXPECT_NE(r.err.find("cannot reach the database server (socket folder /nonexistent-kinolot"),
              std::string::npos)
        << r.err;
  }
}

TEST_F(KinolotCommandTest, WithoutPgHostTheLocalDatabaseIsUsed) {
  // The test cluster stands in for the local database of scripts/run.sh
  // when its socket folder is DIR/socket, as pg-cluster.sh makes it.
  std::string host = std::getenv("PGHOST") ? std::getenv("PGHOST") : "";
  const std::string suffix = "/socket";
  if (host.size() <= suffix.size() ||
      host.compare(host.size() - suffix.size(), suffix.size(), suffix)) {
    GTEST_SKIP() << "PGHOST is not a cluster's socket folder";
  }
  std::string dir = host.substr(0, host.size() - suffix.size());
  Result r = Kinolot({"list", "recordings"}, "PGHOST= KINOLOT_DB_DIR='" + dir + "'");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Titles(r.json["recordings"]), std::vector<std::string>{"Evening News"});
  EXPECT_EQ(Kinolot({"--host", dir, "list", "recordings"}, "PGHOST=").status, 0);
}

}  // namespace
}  // namespace kinolot_test
