// Connections: reuse through the pool of idle connections, sessions the
// server ended, forked children, batches on the shared connection, and the
// log line of a connection that cannot be opened.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "db/video_db_connection.h"
#include "kinolot/kinolot.h"
#include "support/test_database.h"
#include "video_info_test_util.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

DBConnect_tag* Connect() {
  return VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
}

// The server process behind `connection`, "" when the query fails.
std::string BackendOf(DBConnect_tag* connection) {
  DBResult_tag* result = nullptr;
  std::string pid;
  if (VEXODBExecute(connection, "SELECT pg_backend_pid() AS pid", &result) == 0) {
    const char* value = VEXODBFetchField(result, 0, "pid");
    pid = value ? value : "";
  }
  VEXODBFreeResult(result);
  return pid;
}

// Sets an environment variable (null unsets it) for the life of the object.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    if (old) saved_ = old;
    had_ = old != nullptr;
    value ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnv() { had_ ? setenv(name_, saved_.c_str(), 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::string saved_;
  bool had_ = false;
};

class ConnectionTest : public DatabaseTest {
 protected:
  // Ends the server process `pid` as an administrator would, and waits for it.
  void Terminate(const std::string& pid) {
    Exec("SELECT pg_terminate_backend(" + pid + ")");
    for (int i = 0;
         i < 250 && Value("SELECT count(*) FROM pg_stat_activity WHERE pid = " + pid) != "0"; ++i) {
      usleep(20 * 1000);
    }
  }
  bool ListMovies(VideoMetadataAPI& api, Json::Value& answer) {
    unsigned long total = 0, count = 0;
    return api.List(VIDEO_TABLE_MOVIE, 0, 50, VIDEO_ADDITIONAL_NONE, "sort_title",
                    ORDER_DIRECTION_ASC, "", nullptr, nullptr, nullptr, nullptr, "", answer, total,
                    count);
  }
};

TEST_F(ConnectionTest, OnlyAConnectionGivenBackCleanIsHandedOutAgain) {
  struct Case {
    const char* last;  // the statement run just before the connection is closed
    bool reused;
  } cases[] = {{"SELECT 1", true},
               {"SELECT broken(", false},
               {"BEGIN", false},
               {"SET work_mem = '8MB'", false}};
  for (const Case& c : cases) {
    DBConnect_tag* connection = Connect();
    ASSERT_NE(connection, nullptr) << VEXODBErrorGet(nullptr);
    std::string first = BackendOf(connection);
    VEXODBExecute(connection, c.last, nullptr);
    VEXODBClose(connection);
    connection = Connect();
    EXPECT_EQ(BackendOf(connection) == first, c.reused) << c.last;
    VEXODBClose(connection);
  }
  EXPECT_EQ(Value("SELECT count(*) FROM pg_stat_activity WHERE state = 'idle in transaction'"), "0")
      << "a connection closed inside a transaction is ended, not kept";
}

TEST_F(ConnectionTest, TheSwitchAndTheBoundDecideHowManyIdleConnectionsAreKept) {
  struct Case {
    const char* setting;  // KINOLOT_DB_REUSE
    unsigned long kept;
  } cases[] = {{"0", 0}, {"3", 3}, {nullptr, 8}};
  for (const Case& c : cases) {
    ScopedEnv reuse("KINOLOT_DB_REUSE", c.setting);
    std::vector<DBConnect_tag*> open;
    for (int i = 0; i < 10; ++i) open.push_back(Connect());
    for (DBConnect_tag* connection : open) VEXODBClose(connection);
    VEXODBCountersReset();
    for (DBConnect_tag*& connection : open) connection = Connect();
    for (DBConnect_tag* connection : open)
      EXPECT_EQ(VEXODBExecute(connection, "SELECT 1", nullptr), 0);
    for (DBConnect_tag* connection : open) VEXODBClose(connection);
    EXPECT_EQ(VEXODBCountersGet().reused, c.kept) << (c.setting ? c.setting : "default");
    EXPECT_EQ(VEXODBCountersGet().connects, 10 - c.kept);
  }
}

TEST_F(ConnectionTest, ThreadsShareThePoolAndOpenNoMoreThanTheyUseAtOnce) {
  VEXODBCountersReset();
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 25; ++i) {
        DBConnect_tag* connection = Connect();
        if (connection == nullptr || VEXODBExecute(connection, "SELECT 1", nullptr) != 0)
          ++failures;
        VEXODBClose(connection);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  VEXODBCounters counters = VEXODBCountersGet();
  EXPECT_EQ(counters.connects + counters.reused, 100u);
  EXPECT_LE(counters.connects, 4u);
}

TEST_F(ConnectionTest, AForkedChildNeverUsesItsParentsSessions) {
  // The shared connection first, so that it cannot take the idle one.
  ASSERT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", nullptr, nullptr), 0);
  const std::string shared = BackendOf(VideoDBConnGet());
  DBConnect_tag* idle = Connect();
  const std::string pooled = BackendOf(idle);
  VEXODBClose(idle);
  pid_t child = fork();
  if (child == 0) {
    DBConnect_tag* mine = Connect();
    std::string own = BackendOf(mine);
    bool ok = !own.empty() && own != pooled &&
              VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", nullptr, nullptr) == 0 &&
              BackendOf(VideoDBConnGet()) != shared;
    VEXODBClose(mine);
    VideoDBConnClose();
    _exit(ok ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child had its own sessions";
  idle = Connect();
  EXPECT_EQ(BackendOf(idle), pooled) << "the parent's idle session is intact";
  VEXODBClose(idle);
  EXPECT_EQ(BackendOf(VideoDBConnGet()), shared) << "and so is its shared one";
}

TEST_F(ConnectionTest, TheFirstCallsAfterAServerRestartSucceed) {
  ASSERT_TRUE(StoreVideo("/v/Alpha.mkv", Movie("Alpha", 2001)));
  VideoMetadataAPI api;
  Json::Value answer;
  ASSERT_TRUE(ListMovies(api, answer));
  RestartServer();
  _VIDEO_INFO_ back{};
  back.type = VIDEO_TYPE_MOVIE;
  EXPECT_EQ(VideoInfoGetOne("/v/Alpha.mkv", &back), 0);
  EXPECT_STREQ(back.title, "Alpha");
  EXPECT_TRUE(ListMovies(api, answer));
  EXPECT_EQ(answer["total"].asUInt(), 1u);
  EXPECT_TRUE(LogLines().empty()) << LogLines().front();
}

TEST_F(ConnectionTest, ABatchIsSeenByOthersOnlyOnceCommitted) {
  EXPECT_EQ(VideoDBBatchCommit(), -1) << "no batch is open";
  EXPECT_EQ(VideoDBBatchRollback(), -1);
  ASSERT_EQ(VideoDBBatchBegin(), 0);
  EXPECT_EQ(VideoDBBatchBegin(), -1) << "batches do not nest";
  ASSERT_TRUE(StoreVideo("/v/Alpha.mkv", Movie("Alpha", 2001)));
  ASSERT_TRUE(StoreVideo("/v/Beta.mkv", Movie("Beta", 2002)));
  EXPECT_EQ(Count("movie"), 0);
  EXPECT_EQ(VideoDBBatchCommit(), 0);
  EXPECT_FALSE(VideoDBBatchIsOpen());
  EXPECT_EQ(Count("movie"), 2);

  // Undone by a rollback, and by closing the connection with the batch open.
  for (bool close : {false, true}) {
    ASSERT_EQ(VideoDBBatchBegin(), 0);
    ASSERT_TRUE(StoreVideo("/v/Gamma.mkv", Movie("Gamma", 2003)));
    close ? VideoDBConnClose() : VideoDBBatchRollback();
    EXPECT_FALSE(VideoDBBatchIsOpen());
    EXPECT_EQ(Count("movie"), 2) << (close ? "closed" : "rolled back");
  }
}

TEST_F(ConnectionTest, AFailedStatementSpoilsTheBatchWhoseItemsCanThenBeStoredAgain) {
  ASSERT_EQ(VideoDBBatchBegin(), 0);
  ASSERT_TRUE(StoreVideo("/v/Alpha.mkv", Movie("Alpha", 2001)));
  // A condition the server refuses.
  EXPECT_EQ(VideoDBOpen(VIDEO_TABLE_MOVIE, nullptr, "", nullptr, nullptr, 0, 0), nullptr);
  EXPECT_FALSE(StoreVideo("/v/Beta.mkv", Movie("Beta", 2002)));
  EXPECT_EQ(VideoDBBatchCommit(), -1);
  EXPECT_TRUE(LoggedMatching(R"(video_db \(\d+\) Failed to exec \[COMMIT\] \(.*rolled back.*\))"));
  EXPECT_EQ(Count("mapper"), 0) << "nothing of the batch is kept";
  EXPECT_TRUE(StoreVideo("/v/Alpha.mkv", Movie("Alpha", 2001)));
  EXPECT_TRUE(StoreVideo("/v/Beta.mkv", Movie("Beta", 2002)));
  EXPECT_EQ(Count("movie"), 2);
}

TEST_F(ConnectionTest, ABatchWhoseConnectionBreaksFailsAsAWholeAndTheNextCallsSucceed) {
  ASSERT_EQ(VideoDBBatchBegin(), 0);
  ASSERT_TRUE(StoreVideo("/v/Alpha.mkv", Movie("Alpha", 2001)));
  Terminate(BackendOf(VideoDBConnGet()));
  MarkStatements();
  EXPECT_FALSE(StoreVideo("/v/Beta.mkv", Movie("Beta", 2002)));
  EXPECT_TRUE(Statements().empty()) << "nothing runs outside the lost transaction";
  EXPECT_EQ(VideoDBBatchCommit(), -1);
  EXPECT_TRUE(StoreVideo("/v/Beta.mkv", Movie("Beta", 2002)));
  EXPECT_EQ(Value("SELECT string_agg(title, ',') FROM movie"), "Beta");
}

TEST_F(ConnectionTest, AConnectionThatCannotBeOpenedIsLoggedOnceWithTheServerAndTheReason) {
  {
    ScopedEnv no_server("PGHOST", "/nonexistent-kinolot-dir");
    EXPECT_EQ(VideoDBGetCount(VIDEO_TABLE_MOVIE, "id", nullptr, nullptr), -1);
    VideoMetadataAPI api;
    Json::Value answer;
    EXPECT_FALSE(ListMovies(api, answer));
  }
  const std::string why =
      " Cannot open a database connection: server /nonexistent-kinolot-dir port 5432, database "
      "video_metadata, user admin: .*No such file or directory";
  EXPECT_TRUE(LoggedMatching(R"(video_db:\d+)" + why));
  EXPECT_TRUE(LoggedMatching(R"(video_db:\d+ Failed to connect to database)"));
  EXPECT_TRUE(LoggedMatching(R"(video_metadata_db:\d+)" + why));
  int shared = 0;
  for (const std::string& line : LogLines())
    shared += line.rfind("video_db:", 0) == 0 && line.find("Cannot open") != std::string::npos;
  EXPECT_EQ(shared, 1);
}

}  // namespace
}  // namespace kinolot_test
