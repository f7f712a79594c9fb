// A database server that cannot open the caller's files: a second real
// cluster, run as a system user of its own, with the pictures in a folder
// closed to that user. Posters go over the connection instead: stored and
// replaced byte for byte with their digest, written back out, carried along
// when a show is renamed or merged, stored by a scan, and stored inside a
// batch without spoiling it.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "kinolot/poster_store.h"
#include "kinolot/video_db.h"
#include "kinolot/video_db_batch.h"
#include "kinolot/video_metadata_api.h"
#include "support/run_program.h"
#include "support/sample_videos.h"
#include "support/temp_files.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

const char kCluster[] = KINOLOT_SOURCE_DIR "/tests/support/remote_cluster.sh";

class RemoteDatabaseTest : public DatabaseTest {
 protected:
  // One cluster for the whole program; the library and the fixture find it
  // through PGHOST like any other server.
  static void SetUpTestSuite() {
    if (geteuid() != 0) return;
    char dir[] = "/tmp/kinolot-remote-XXXXXX";
    if (mkdtemp(dir) == nullptr) return;
    cluster_ = dir;
    if (std::system((std::string(kCluster) + " start " + cluster_ + " >/dev/null").c_str()) != 0) {
      return;
    }
    setenv("PGHOST", (cluster_ + "/socket").c_str(), 1);
    setenv("KINOLOT_TEST_SERVER_LOG", (cluster_ + "/data/server.log").c_str(), 1);
    started_ = true;
  }
  static void TearDownTestSuite() {
    VideoDBConnClose();
    if (!cluster_.empty()) std::system((std::string(kCluster) + " stop " + cluster_).c_str());
  }

  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "a server of another user needs root to start";
    ASSERT_TRUE(started_) << "the second cluster did not start";
    DatabaseTest::SetUp();
    ASSERT_TRUE(std::filesystem::create_directory(closed_));
    ASSERT_EQ(chmod(closed_.c_str(), 0700), 0);
  }

  // The bytes stored as the poster of `mapper`, read inside the server.
  std::string Stored(const std::string& mapper) {
    std::string image;
    EXPECT_EQ(api_.Poster_Image(mapper, image), 1);
    return image;
  }

  static std::string Digest(const std::string& path) {
    std::string md5;
    EXPECT_TRUE(GetMD5(path.c_str(), md5));
    return md5;
  }

  static bool started_;
  static std::string cluster_;
  VideoMetadataAPI api_;
  TempDir dir_;
  const std::string closed_ = dir_ / "closed 'to' 100% ü";
};

bool RemoteDatabaseTest::started_ = false;
std::string RemoteDatabaseTest::cluster_;

// Every byte value, and more than one write of the large-object calls.
std::string Picture(char seed, size_t size) {
  std::string bytes;
  for (size_t i = 0; i < size; ++i) bytes += static_cast<char>((i * 7 + seed) % 256);
  return bytes;
}

TEST_F(RemoteDatabaseTest, PostersOfClosedFoldersAreStoredAndReplacedByteForByte) {
  const std::string mapper = AddMovie("Alpha", 2001);
  const std::string file = closed_ + "/it's 100% \\ é.jpg";
  const std::string first = Picture(1, 300000), second = Picture(2, 1000);
  WriteFile(file, first);
  ASSERT_EQ(ImportPoster(std::stoi(mapper), file), 0);
  // The server was asked to read the file first, with today's statement.
  EXPECT_TRUE(Received("INSERT INTO poster(mapper_id, lo_oid, md5) VALUES(" + mapper +
                       ", lo_import(" + Quoted(file) + "), '" + Digest(file) + "') RETURNING id"));
  EXPECT_EQ(Stored(mapper), first);
  EXPECT_EQ(Value("SELECT md5 FROM poster"), Digest(file));
  EXPECT_TRUE(LogLines().empty()) << LogLines()[0];

  WriteFile(file, second);
  ASSERT_EQ(ImportPoster(std::stoi(mapper), file), 0);
  EXPECT_EQ(Count("poster"), 1);
  EXPECT_EQ(Stored(mapper), second);
  EXPECT_EQ(Value("SELECT md5 FROM poster"), Digest(file));

  // Neither way can store a missing file, or a poster for no video; nothing
  // is left behind, not even an orphaned large object.
  EXPECT_EQ(ImportPoster(std::stoi(mapper), closed_ + "/missing.jpg"), -1);
  EXPECT_EQ(ImportPoster(999, file), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Failed to exec \\[INSERT INTO poster.*999.*"));
  EXPECT_EQ(Stored(mapper), second);
  EXPECT_EQ(Value("SELECT count(*) FROM pg_largeobject_metadata"), "2")
      << "the replaced one is kept";
}

TEST_F(RemoteDatabaseTest, ExportWritesIntoFoldersTheServerCannotOpen) {
  const std::string mapper = AddMovie("Alpha", 2001);
  const std::string image = Picture(3, 70000);
  WriteFile(closed_ + "/in.jpg", image);
  ASSERT_EQ(ImportPoster(std::stoi(mapper), closed_ + "/in.jpg"), 0);
  ASSERT_EQ(ExportPoster(std::stoi(mapper), closed_ + "/out's.jpg"), 0);
  EXPECT_EQ(ReadFile(closed_ + "/out's.jpg"), image);

  EXPECT_EQ(ExportPoster(std::stoi(AddMovie("Beta", 2002)), closed_ + "/none.jpg"), 0);
  EXPECT_FALSE(std::filesystem::exists(closed_ + "/none.jpg")) << "a video without poster";
  EXPECT_EQ(ExportPoster(std::stoi(mapper), closed_ + "/no/such/dir.jpg"), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Failed to exec \\[client-side export to .*"));
}

TEST_F(RemoteDatabaseTest, ShowPostersExportedIntoTheShowFolderFollowRenamesAndMerges) {
  const std::string one = closed_ + "/One", two = closed_ + "/Two";
  ASSERT_TRUE(StoreVideo(one + "/s1e1.mkv", Episode("Harbour", 2010, 1, 1)));
  ASSERT_TRUE(StoreVideo(two + "/s1e1.mkv", Episode("Lights", 2012, 1, 1)));
  const std::string harbour = Value("SELECT id FROM tvshow WHERE title = 'Harbour'");
  const std::string lights = Value("SELECT id FROM tvshow WHERE title = 'Lights'");
  std::filesystem::create_directories(one);
  std::filesystem::create_directories(two);
  const std::string image = Picture(4, 5000);
  WriteFile(closed_ + "/poster.jpg", image);

  // Each show's stored poster, written beside its videos under its title.
  for (const std::string& show : {harbour, lights}) {
    int mapper = std::stoi(Value("SELECT mapper_id FROM tvshow WHERE id = " + show));
    ASSERT_EQ(ImportPoster(mapper, closed_ + "/poster.jpg"), 0);
  }
  ASSERT_EQ(ExportPoster(std::stoi(Value("SELECT mapper_id FROM tvshow WHERE id = " + harbour)),
                         one + "/Harbour.jpg"),
            0);
  ASSERT_EQ(ExportPoster(std::stoi(Value("SELECT mapper_id FROM tvshow WHERE id = " + lights)),
                         two + "/Lights.jpg"),
            0);

  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(harbour, "Harbour", "Quiet Harbour"), 1);
  EXPECT_EQ(ReadFile(one + "/Quiet Harbour.jpg"), image);
  Exec("UPDATE tvshow SET title = 'Quiet Harbour' WHERE id = " + harbour);
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(harbour, lights), 1);
  EXPECT_FALSE(std::filesystem::exists(one + "/Quiet Harbour.jpg"));
  EXPECT_EQ(ReadFile(one + "/Lights.jpg"), image);
}

TEST_F(RemoteDatabaseTest, APosterInsideABatchLeavesTheBatchWhole) {
  const std::string mapper = AddMovie("Alpha", 2001);
  WriteFile(closed_ + "/in.jpg", "picture");
  ASSERT_EQ(VideoDBBatchBegin(), 0);
  ASSERT_EQ(StoreFile(dir_ / "a.mkv"), 0);
  EXPECT_EQ(ImportPoster(999, closed_ + "/in.jpg"), -1);
  EXPECT_EQ(ImportPoster(std::stoi(mapper), closed_ + "/in.jpg"), 0);
  ASSERT_EQ(VideoDBBatchCommit(), 0);
  EXPECT_EQ(Count("video_file"), 1);
  EXPECT_EQ(Stored(mapper), "picture");
}

TEST_F(RemoteDatabaseTest, ScanStoresThePostersOfAFolderTheServerCannotOpen) {
  const std::string show = closed_ + "/Quiet Harbour";
  ASSERT_TRUE(PlaceSample(Sample::kMatroskaH264, show + "/Season 1/Quiet Harbour S01E01.mkv"));
  ASSERT_TRUE(PlaceSample(Sample::kPoster, show + "/poster.jpg"));
  ASSERT_EQ(chmod(closed_.c_str(), 0700), 0);
  Ran ran = RunProgram(KINOLOT_COMMAND, {"scan", "--json", "--as", "shows", closed_});
  ASSERT_EQ(ran.status, 0) << ran.err << ran.out;
  EXPECT_EQ(ran.json["warnings"].size(), 0u) << ran.out;
  const std::string mapper = Value("SELECT mapper_id FROM tvshow");
  EXPECT_EQ(Stored(mapper), ReadFile(show + "/poster.jpg"));
  EXPECT_EQ(Value("SELECT md5 FROM poster WHERE mapper_id = " + mapper),
            Digest(show + "/poster.jpg"));
}

}  // namespace
}  // namespace kinolot_test
