// Poster storage on the real server, with posters downloaded from a real
// HTTP server on the loopback interface.
#include "kinolot/poster_store.h"

#include <glob.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "kinolot/video_db.h"
#include "support/http_test_server.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

// Digests of the standard test vectors.
const char kMd5Abc[] = "900150983cd24fb0d6963f7d28e17f72";
const char kMd5Empty[] = "d41d8cd98f00b204e9800998ecf8427e";

// Letters that a path must survive on its way through shell and SQL.
const char kOddName[] = "it's a \\ 100% \xC3\xBC.jpg";

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::string& path, const std::string& data) {
  std::ofstream(path, std::ios::binary) << data;
  chmod(path.c_str(), 0644);
}

std::string Hex(const std::string& data) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned char c : data) hex += std::string{kDigits[c >> 4], kDigits[c & 15]};
  return hex;
}

std::set<std::string> TempPosters() {
  std::set<std::string> names;
  glob_t found{};
  if (glob("/tmp/poster_*", 0, nullptr, &found) == 0) {
    for (size_t i = 0; i < found.gl_pathc; ++i) names.insert(found.gl_pathv[i]);
  }
  globfree(&found);
  return names;
}

HttpRoute Typed(const std::string& type, const std::string& body) {
  HttpRoute route;
  route.headers = {{"Content-Type", type}};
  route.body = body;
  return route;
}

class PosterStoreTest : public DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
    // The database server writes exported posters as its own user.
    char dir[] = "/tmp/kinolot-poster-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    dir_ = dir;
    chmod(dir, 0777);
    Exec("INSERT INTO mapper(type) VALUES('movie'), ('movie')");
    server_.Route("/page.html", Typed("text/html", "<html></html>"));
    server_.Route("/cover.jpg", Typed("image/jpeg", cover_));
    server_.Route("/abc.png", Typed("image/png", "abc"));
    server_.Route("/big.jpg", Typed("image/jpeg", std::string(2 << 20, 'b')));
    server_.Route("/v1.2/cover", Typed("image/jpeg", cover_));
    before_ = TempPosters();
  }
  void TearDown() override {
    std::filesystem::remove_all(dir_);
    DatabaseTest::TearDown();
  }

  std::string PosterBytes(int mapperId) {
    return Value("SELECT encode(lo_get(lo_oid), 'hex') FROM poster WHERE mapper_id = " +
                 std::to_string(mapperId));
  }
  std::string Path(const std::string& name) { return dir_ + "/" + name; }
  std::vector<std::string> Urls(std::initializer_list<const char*> targets) {
    std::vector<std::string> urls;
    for (const char* target : targets) urls.push_back(server_.Url(target));
    return urls;
  }
  bool TempPostersLeft() { return TempPosters() != before_; }

  std::string dir_;
  std::string cover_ = std::string(50 * 1024, '\xd8') + "cover";
  HttpTestServer server_;
  std::set<std::string> before_;
};

// The digests of odd paths are seen in the import statements below.
TEST_F(PosterStoreTest, DigestOfAPathHoldingTheToolsSeparatorOrFailureWithoutChange) {
  std::string md5 = "stale";
  WriteFile(Path("a= b.jpg"), "");
  ASSERT_TRUE(GetMD5(Path("a= b.jpg").c_str(), md5));
  EXPECT_EQ(md5, kMd5Empty);

  EXPECT_FALSE(GetMD5(Path("missing.jpg").c_str(), md5));
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Invalid output"));
  EXPECT_FALSE(GetMD5(nullptr, md5));
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Failed to escape zip path"));
  EXPECT_EQ(md5, kMd5Empty);
}

TEST_F(PosterStoreTest, ImportKeepsOneRowPerVideoWithTheLatestImage) {
  std::string file = Path(kOddName);
  std::string quoted = dir_ + "/it''s a \\ 100% \xC3\xBC.jpg";
  WriteFile(file, "abc");
  ASSERT_EQ(ImportPoster(1, file), 0);
  EXPECT_TRUE(Received("INSERT INTO poster(mapper_id, lo_oid, md5) VALUES(1, lo_import('" + quoted +
                       "'), '" + kMd5Abc + "') RETURNING id"));
  EXPECT_EQ(PosterBytes(1), Hex("abc"));

  WriteFile(file, "");
  ASSERT_EQ(ImportPoster(1, file), 0);
  EXPECT_TRUE(Received("UPDATE poster SET lo_oid = lo_import('" + quoted + "'), md5 = '" +
                       kMd5Empty +
                       "', modify_date = current_timestamp WHERE mapper_id = 1 RETURNING id"));
  EXPECT_EQ(Count("poster"), 1);
  EXPECT_EQ(PosterBytes(1), "");

  // A video that does not exist and a file the server cannot read.
  EXPECT_EQ(ImportPoster(7, file), -1);
  EXPECT_EQ(ImportPoster(2, Path("missing.jpg")), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Failed to exec \\[INSERT INTO poster.*"));

  // Without a server nothing is stored.
  std::string host = std::getenv("PGHOST") ? std::getenv("PGHOST") : "";
  VideoDBConnClose();
  setenv("PGHOST", "/nonexistent-kinolot-socket-dir", 1);
  int result = ImportPoster(2, file);
  setenv("PGHOST", host.c_str(), 1);
  EXPECT_EQ(result, -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Failed to connect to database"));
  EXPECT_EQ(Count("poster"), 1);
}

TEST_F(PosterStoreTest, ExportWritesTheStoredBytesBack) {
  std::string image;
  for (int i = 0; i < 70000; ++i) image += static_cast<char>(i % 251);
  WriteFile(Path("in.jpg"), image);
  ASSERT_EQ(ImportPoster(1, Path("in.jpg")), 0);

  ASSERT_EQ(ExportPoster(1, Path(kOddName)), 0);
  EXPECT_EQ(ReadFile(Path(kOddName)), image);

  EXPECT_EQ(ExportPoster(2, Path("none.jpg")), 0) << "a video without poster";
  EXPECT_FALSE(std::filesystem::exists(Path("none.jpg")));

  EXPECT_EQ(ExportPoster(1, Path("no/such/dir.jpg")), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Failed to exec \\[SELECT lo_export\\(lo_oid, '" + dir_ +
                             "/no/such/dir.jpg'\\) FROM poster WHERE mapper_id = 1\\].*"));
}

TEST_F(PosterStoreTest, DownloadTakesTheFirstUsableImage) {
  std::vector<std::string> urls = Urls({"/page.html", "/cover.jpg?w=500"});
  std::string path;
  ASSERT_EQ(DownloadPoster(urls, path), 0);
  EXPECT_EQ(path.rfind("/tmp/poster_", 0), 0u) << path;
  EXPECT_EQ(path.substr(path.size() - 10), ".jpg?w=500") << path;
  EXPECT_EQ(ReadFile(path), cover_);
  struct stat info {};
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0644u) << "the database server must read it";
  EXPECT_EQ(server_.RequestLines(),
            (std::vector<std::string>{"HEAD /page.html HTTP/1.1", "HEAD /cover.jpg?w=500 HTTP/1.1",
                                      "GET /cover.jpg?w=500 HTTP/1.1"}));
  unlink(path.c_str());
}

TEST_F(PosterStoreTest, DownloadFailuresReportTheLastReasonAndLeaveNoFile) {
  struct Case {
    std::vector<std::string> urls;
    int result;
  } cases[] = {
      {{}, -2},
      {Urls({"/big.jpg"}), -4},
      {Urls({"/big.jpg", "/page.html"}), -3},
      {Urls({"/page.html", "/missing.jpg"}), -3},
      {Urls({"/missing.jpg"}), -1},
      // No "." at all, and an extension that cannot be part of a file name.
      {{"http://localhost:" + std::to_string(server_.port()) + "/cover"}, -1},
      {Urls({"/v1.2/cover"}), -1},
  };
  for (Case& c : cases) {
    std::string path = "stale";
    EXPECT_EQ(DownloadPoster(c.urls, path), c.result) << testing::PrintToString(c.urls);
    EXPECT_EQ(path, "");
  }
  EXPECT_FALSE(TempPostersLeft());
  for (const std::string& line : server_.RequestLines()) {
    EXPECT_EQ(line.rfind("HEAD ", 0), 0u) << "no body was fetched: " << line;
  }

  // A host that does not resolve is tried three times, each failure waited out.
  std::vector<std::string> unresolvable{"http://poster.invalid/cover.jpg"};
  std::string path;
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(DownloadPoster(unresolvable, path), -1);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_FALSE(TempPostersLeft());
}

TEST_F(PosterStoreTest, SaveStoresTheDownloadedImageAndRemovesTheFile) {
  std::vector<std::string> urls = Urls({"/page.html", "/abc.png"});
  ASSERT_EQ(VideoInfoPosterSave(2, urls), 0);
  EXPECT_EQ(PosterBytes(2), Hex("abc"));
  EXPECT_FALSE(TempPostersLeft());

  urls = Urls({"/big.jpg"});
  EXPECT_EQ(VideoInfoPosterSave(1, urls), -4);
  EXPECT_EQ(Count("poster"), 1);
}

}  // namespace
}  // namespace kinolot_test
