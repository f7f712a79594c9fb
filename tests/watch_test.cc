// Watching folders: real video files copied, renamed, moved and deleted while
// the watch engine runs against the real database, which is also restarted
// underneath it.
#include <fcntl.h>
#include <httplib.h>
#include <json/json.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "scan/folder_watch.h"
#include "scan/media_probe.h"
#include "support/sample_videos.h"
#include "support/test_database.h"

namespace {

using namespace kinolot_scan;
using namespace kinolot_test;
namespace fs = std::filesystem;

class WatchTest : public DatabaseTest {
 protected:
  void TearDown() override {
    StopWatch();
    DatabaseTest::TearDown();
  }

  void StartWatch(size_t max_watches = 0, int rescan_seconds = 300) {
    WatchOptions options;
    options.folders = {{dir_.path(), ScanKind::kAuto}};
    options.settle_ms = 400;
    options.retry_ms = 200;
    options.max_watches = max_watches;
    options.rescan_seconds = rescan_seconds;
    options.report = [this](const std::string& line) {
      std::lock_guard<std::mutex> lock(mutex_);
      reports_.push_back(line);
    };
    watch_ = std::make_unique<FolderWatch>(std::move(options));
    thread_ = std::thread([this] {
      std::string error;
      EXPECT_TRUE(watch_->Run(&error)) << error;
    });
    ASSERT_TRUE(WaitFor([this] { return watch_->ready(); }));
  }
  void StopWatch() {
    if (!watch_) return;
    watch_->Stop();
    thread_.join();
    watch_.reset();
  }
  // Polls `holds` every 50 ms, for 10 s at most.
  static bool WaitFor(const std::function<bool()>& holds) {
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!holds()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
  }
  bool Stored(const std::string& path) { return !MapperOf(path).empty(); }
  std::string Place(const std::string& name, Sample sample = Sample::kMatroskaH264) {
    EXPECT_TRUE(PlaceSample(sample, dir_ / name)) << name;
    return dir_ / name;
  }
  std::vector<std::string> Reports() {
    std::lock_guard<std::mutex> lock(mutex_);
    return reports_;
  }

  TempDir dir_;
  std::unique_ptr<FolderWatch> watch_;
  std::thread thread_;
  std::mutex mutex_;
  std::vector<std::string> reports_;
};

TEST_F(WatchTest, AFileCopiedInSlowlyIsStoredOnceWhenComplete) {
  StartWatch();
  std::string bytes = ReadFile(SamplePath(Sample::kMatroskaH264));
  ASSERT_GT(bytes.size(), 4000u);
  fs::create_directories(dir_ / "Night Owl (2015)");
  std::string path = dir_ / "Night Owl (2015)/Night Owl (2015).mkv";
  std::set<std::string> sizes_seen;
  {
    std::ofstream out(path, std::ios::binary);
    const size_t pieces = 8, piece = bytes.size() / pieces + 1;
    for (size_t at = 0; at < bytes.size(); at += piece) {
      out.write(bytes.data() + at, std::min(piece, bytes.size() - at));
      out.flush();
      for (int i = 0; i < 5; ++i) {
        std::string size = Value("SELECT filesize FROM video_file");
        if (!size.empty()) sizes_seen.insert(size);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
      }
    }
  }
  ASSERT_TRUE(WaitFor([&] { return Stored(path); }));
  EXPECT_EQ(Value("SELECT duration FROM video_file"), "1") << "probed complete";
  // Quiet for longer than the debounce: nothing is stored a second time.
  std::this_thread::sleep_for(std::chrono::milliseconds(900));
  sizes_seen.insert(Value("SELECT filesize FROM video_file"));
  EXPECT_EQ(sizes_seen, std::set<std::string>{std::to_string(bytes.size())});
  EXPECT_EQ(watch_->changes(), 1);
  EXPECT_EQ(Count("movie"), 1);
}

TEST_F(WatchTest, RenamesAndMovesKeepTheItemWithoutProbingAndDeletionsRemove) {
  for (int i = 0; i < 50; ++i) Place("a/Batch/Film " + std::to_string(i) + " (2000).mkv");
  std::string owl = Place("Night Owl (2015).mkv");
  StartWatch();
  ASSERT_EQ(Count("video_file"), 51) << "the first scan stores what is there";
  std::string owl_id = MapperOf(owl);
  Rows ids_before =
      Query("SELECT substring(path from '[^/]*$'), mapper_id FROM video_file ORDER BY 1");
  Exec("UPDATE movie SET title = 'My Owl' WHERE mapper_id = " + owl_id);
  Exec("UPDATE summary SET summary = 'Edited' WHERE mapper_id = " + owl_id);
  Exec("INSERT INTO collection(uid, title) VALUES (1024, 'Favs')");
  Exec("INSERT INTO collection_map(mapper_id, collection_id) VALUES (" + owl_id + ", 1)");
  long probes = ProbeCount();

  std::string renamed = dir_ / "Night Owl Renamed.mkv";
  fs::rename(owl, renamed);
  ASSERT_TRUE(WaitFor([&] { return MapperOf(renamed) == owl_id; }));
  EXPECT_EQ(Query("SELECT title, summary, collection_id FROM movie JOIN summary USING "
                  "(mapper_id) JOIN collection_map USING (mapper_id)"),
            (Rows{{"My Owl", "Edited", "1"}}));

  fs::create_directories(dir_ / "b");
  fs::rename(dir_ / "a/Batch", dir_ / "b/Batch");
  ASSERT_TRUE(WaitFor([&] {
    return Value("SELECT count(*) FROM video_file WHERE path LIKE '%/b/Batch/%'") == "50";
  }));
  EXPECT_EQ(ProbeCount(), probes) << "no file was opened";
  Rows ids_after =
      Query("SELECT substring(path from '[^/]*$'), mapper_id FROM video_file ORDER BY 1");
  for (Row& row : ids_before) {
    if (row[0] == "Night Owl (2015).mkv") row[0] = "Night Owl Renamed.mkv";
  }
  std::sort(ids_before.begin(), ids_before.end());
  EXPECT_EQ(ids_after, ids_before);
  // A file written into the moved folder is seen under its new path.
  std::string late = Place("b/Batch/Late (2001).mkv");
  ASSERT_TRUE(WaitFor([&] { return Stored(late); }));

  fs::remove(renamed);
  ASSERT_TRUE(WaitFor([&] { return !Stored(renamed); }));
  EXPECT_EQ(Count("movie"), 51);
  fs::remove_all(dir_ / "b");
  ASSERT_TRUE(WaitFor([&] { return Count("video_file") == 0; }));
}

TEST_F(WatchTest, AFolderFilledOutOfSightAndRenamedIntoViewIsStored) {
  StartWatch();
  std::string hidden = Place(".incoming/Film (2001).mkv");
  fs::rename(dir_ / ".incoming", dir_ / "Film (2001)");
  std::string path = dir_ / "Film (2001)/Film (2001).mkv";
  ASSERT_TRUE(WaitFor([&] { return Stored(path); }));
  // Watched from now on like any other folder.
  fs::rename(path, dir_ / "Film (2001)/Film.mkv");
  ASSERT_TRUE(WaitFor([&] { return Stored(dir_ / "Film (2001)/Film.mkv"); }));
  EXPECT_EQ(Count("video_file"), 1);
  EXPECT_FALSE(Stored(hidden));
}

TEST_F(WatchTest, ANewNfoBesideAVideoUpdatesIt) {
  Place("x/x.mkv");
  StartWatch();
  ASSERT_EQ(Value("SELECT title FROM movie"), "x");
  std::ofstream(dir_ / "x/x.nfo") << "<movie><title>Real Title</title><plot>A plot.</plot></movie>";
  ASSERT_TRUE(WaitFor([&] { return Value("SELECT title FROM movie") == "Real Title"; }));
  EXPECT_EQ(Value("SELECT summary FROM summary"), "A plot.");
}

TEST_F(WatchTest, ChangesWhileTheDatabaseIsAwayArriveWhenItIsBack) {
  StartWatch();
  StopDatabase();
  std::string during = Place("During (2001).mkv");
  std::this_thread::sleep_for(std::chrono::milliseconds(800));  // past the debounce
  StartDatabase();
  ASSERT_TRUE(WaitFor([&] { return Stored(during); }));
  std::string after = Place("After (2002).mkv");
  ASSERT_TRUE(WaitFor([&] { return Stored(after); }));
  std::vector<std::string> reports = Reports();
  EXPECT_EQ(std::count_if(reports.begin(), reports.end(),
                          [](const std::string& line) {
                            return line.find("trying again") != std::string::npos;
                          }),
            1);
}

TEST_F(WatchTest, FoldersPastTheWatchLimitAreRescannedAtTheInterval) {
  for (const char* folder : {"one", "two", "three"}) fs::create_directories(dir_ / folder);
  StartWatch(1, 1);
  std::string path = Place("two/Two (2002).mkv");
  Place("three/Three (2003).mkv");
  ASSERT_TRUE(WaitFor([&] { return Count("video_file") == 2; }));
  EXPECT_TRUE(Stored(path));
  std::vector<std::string> reports = Reports();
  EXPECT_EQ(std::count_if(
                reports.begin(), reports.end(),
                [](const std::string& line) { return line.find("limit") != std::string::npos; }),
            1)
      << "said once";
}

TEST_F(WatchTest, TheServerWatchesItsFoldersAndCountsChangesForPages) {
  int out[2];
  ASSERT_EQ(pipe(out), 0);
  pid_t server = fork();
  if (server == 0) {
    dup2(out[1], STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    execl(KINOLOT_COMMAND, "kinolot", "serve", "--listen", "127.0.0.1:0", "--watch",
          dir_.path().c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(out[1]);
  FILE* output = fdopen(out[0], "r");
  char line[256] = "";
  ASSERT_NE(fgets(line, sizeof(line), output), nullptr);
  const char* port = std::strrchr(line, ':');
  ASSERT_NE(port, nullptr) << line;
  httplib::Client client("127.0.0.1", std::atoi(port + 1));
  auto get = [&](const std::string& path) {
    Json::Value answer;
    if (httplib::Result result = client.Get(path.c_str()))
      Json::Reader().parse(result->body, answer);
    return answer;
  };
  EXPECT_TRUE(WaitFor([&] { return get("/api/library-changes")["changes"] == 0; }));
  std::string path = Place("Served (2020).mkv");
  EXPECT_TRUE(WaitFor([&] { return get("/api/library-changes")["changes"].asInt() > 0; }));
  EXPECT_TRUE(Stored(path));
  EXPECT_EQ(get("/api/movie")["total"].asInt(), 1);
  kill(server, SIGTERM);
  int status = -1;
  waitpid(server, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  // Its watch ended with it: no writer holds the pipe open any more.
  pollfd end{fileno(output), POLLIN, 0};
  ASSERT_EQ(poll(&end, 1, 10000), 1);
  EXPECT_EQ(read(end.fd, line, sizeof(line)), 0);
  fclose(output);
}

}  // namespace
