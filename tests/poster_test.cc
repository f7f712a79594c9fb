// Posters and downloads: poster storage on the real server, with posters
// downloaded from a real HTTP server on the loopback interface, and
// FileDownload against that server.
#include "kinolot/poster_store.h"

#include <curl/curl.h>
#include <glob.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "kinolot/file_download.h"
#include "kinolot/video_db.h"
#include "support/http_test_server.h"
#include "support/temp_files.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

const char kMd5Abc[] = "900150983cd24fb0d6963f7d28e17f72";
const char kMd5Empty[] = "d41d8cd98f00b204e9800998ecf8427e";
// Letters that a path must survive on its way through shell and SQL.
const char kOddName[] = "it's a \\ 100% \xC3\xBC.jpg";

std::set<std::string> TempPosters() {
  std::set<std::string> names;
  glob_t found{};
  if (glob("/tmp/poster_*", 0, nullptr, &found) == 0)
    names.insert(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  globfree(&found);
  return names;
}

class PosterStoreTest : public DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
    Exec("INSERT INTO mapper(type) VALUES('movie'), ('movie')");
    server_.Route("/page.html", Content("text/html", "<html></html>"));
    server_.Route("/cover.jpg", Content("image/jpeg", cover_));
    server_.Route("/abc.png", Content("image/png", "abc"));
    server_.Route("/big.jpg", Content("image/jpeg", std::string(2 << 20, 'b')));
    server_.Route("/v1.2/cover", Content("image/jpeg", cover_));
  }

  // The stored bytes of the poster of `mapperId`, in hexadecimal.
  std::string PosterBytes(int mapperId) {
    return Value("SELECT encode(lo_get(lo_oid), 'hex') FROM poster WHERE mapper_id = " +
                 std::to_string(mapperId));
  }
  std::vector<std::string> Urls(std::initializer_list<const char*> targets) {
    std::vector<std::string> urls;
    for (const char* target : targets) urls.push_back(server_.Url(target));
    return urls;
  }

  TempDir dir_;
  std::string cover_ = std::string(50 * 1024, '\xd8') + "cover";
  HttpTestServer server_;
  const std::set<std::string> before_ = TempPosters();
};

TEST_F(PosterStoreTest, ImportKeepsOneRowPerVideoWithTheLatestImage) {
  // The digest tool prints "<name>= <digest>": a name holding "= " is no trouble.
  std::string md5 = "stale";
  WriteFile(dir_ / "a= b.jpg", "");
  ASSERT_TRUE(GetMD5((dir_ / "a= b.jpg").c_str(), md5));
  EXPECT_EQ(md5, kMd5Empty);
  EXPECT_FALSE(GetMD5((dir_ / "missing.jpg").c_str(), md5));
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Invalid output"));
  EXPECT_FALSE(GetMD5(nullptr, md5));
  EXPECT_EQ(md5, kMd5Empty);

  std::string file = dir_ / kOddName;
  std::string quoted = dir_.path() + "/it''s a \\ 100% \xC3\xBC.jpg";
  WriteFile(file, "abc");
  ASSERT_EQ(ImportPoster(1, file), 0);
  EXPECT_TRUE(Received("INSERT INTO poster(mapper_id, lo_oid, md5) VALUES(1, lo_import('" + quoted +
                       "'), '" + kMd5Abc + "') RETURNING id"));
  EXPECT_EQ(PosterBytes(1), "616263");
  WriteFile(file, "");
  ASSERT_EQ(ImportPoster(1, file), 0);
  EXPECT_TRUE(Received("UPDATE poster SET lo_oid = lo_import('" + quoted + "'), md5 = '" +
                       kMd5Empty +
                       "', modify_date = current_timestamp WHERE mapper_id = 1 RETURNING id"));
  EXPECT_EQ(Count("poster"), 1);
  EXPECT_EQ(PosterBytes(1), "");

  // A video that does not exist, a file the server cannot read.
  EXPECT_EQ(ImportPoster(7, file), -1);
  EXPECT_EQ(ImportPoster(2, dir_ / "missing.jpg"), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Failed to exec \\[INSERT INTO poster.*"));
  EXPECT_EQ(Count("poster"), 1);
}

TEST_F(PosterStoreTest, ExportWritesTheStoredBytesBack) {
  std::string image;
  for (int i = 0; i < 70000; ++i) image += static_cast<char>(i % 251);
  WriteFile(dir_ / "in.jpg", image);
  ASSERT_EQ(ImportPoster(1, dir_ / "in.jpg"), 0);
  ASSERT_EQ(ExportPoster(1, dir_ / kOddName), 0);
  EXPECT_EQ(ReadFile(dir_ / kOddName), image);
  EXPECT_EQ(ExportPoster(2, dir_ / "none.jpg"), 0) << "a video without poster";
  EXPECT_FALSE(std::filesystem::exists(dir_ / "none.jpg"));
  EXPECT_EQ(ExportPoster(1, dir_ / "no/such/dir.jpg"), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Failed to exec \\[SELECT lo_export\\(lo_oid, '" +
                             dir_.path() +
                             "/no/such/dir.jpg'\\) FROM poster WHERE mapper_id = 1\\].*"));
}

TEST_F(PosterStoreTest, DownloadTakesTheFirstUsableImage) {
  std::string path;
  std::vector<std::string> urls = Urls({"/page.html", "/cover.jpg?w=500"});
  ASSERT_EQ(DownloadPoster(urls, path), 0);
  EXPECT_EQ(path.rfind("/tmp/poster_", 0), 0u) << path;
  EXPECT_EQ(path.substr(path.size() - 10), ".jpg?w=500") << path;
  EXPECT_EQ(ReadFile(path), cover_);
  struct stat info {};
  EXPECT_TRUE(stat(path.c_str(), &info) == 0 && (info.st_mode & 0777) == 0644)
      << "the database server must read it";
  EXPECT_EQ(server_.RequestLines(),
            (std::vector<std::string>{"HEAD /page.html HTTP/1.1", "HEAD /cover.jpg?w=500 HTTP/1.1",
                                      "GET /cover.jpg?w=500 HTTP/1.1"}));
  unlink(path.c_str());

  // Saving stores the image and removes the downloaded file.
  urls = Urls({"/page.html", "/abc.png"});
  ASSERT_EQ(VideoInfoPosterSave(2, urls), 0);
  EXPECT_EQ(PosterBytes(2), "616263");
  EXPECT_EQ(TempPosters(), before_);
}

TEST_F(PosterStoreTest, DownloadFailuresReportTheLastReasonAndLeaveNoFile) {
  struct {
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
  for (auto& c : cases) {
    std::string path = "stale";
    EXPECT_EQ(DownloadPoster(c.urls, path), c.result) << testing::PrintToString(c.urls);
    EXPECT_EQ(path, "");
  }
  for (const std::string& line : server_.RequestLines()) {
    EXPECT_EQ(line.rfind("HEAD ", 0), 0u) << "no body was fetched: " << line;
  }
  EXPECT_EQ(VideoInfoPosterSave(1, cases[1].urls), -4);
  EXPECT_EQ(Count("poster"), 0);

  // A host that does not resolve is tried three times, each failure waited out.
  std::string path;
  std::vector<std::string> unresolvable{"http://poster.invalid/cover.jpg"};
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(DownloadPoster(unresolvable, path), -1);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_EQ(TempPosters(), before_);
}

class FileDownloadTest : public ::testing::Test {
 protected:
  HttpTestServer server_;
  TempDir dir_;
};

TEST_F(FileDownloadTest, FollowsRedirectsAndNamesTheFileAfterTheFinalUrl) {
  std::string body(3000, '\0');
  for (size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 7);
  server_.Route("/start", Redirect(302, "/middle?x=1"));
  server_.Route("/middle", Redirect(301, "/art/POSTER.JPG?size=w500&v=2"));
  server_.Route("/art/POSTER.JPG", Content("image/jpeg", body));
  std::string url = server_.Url("/start");
  FileDownload download(url.c_str());
  ASSERT_EQ(download.DownloadBody((dir_ / "out").c_str()), 0);
  EXPECT_EQ(ReadFile(dir_ / "out"), body);
  EXPECT_STREQ(download.GetFilename(), "poster.jpg");
  EXPECT_STREQ(download.GetContentType(), "image/jpeg");
  EXPECT_EQ(download.GetContentLength(), 3000.0);
  EXPECT_EQ(server_.RequestLines(),
            (std::vector<std::string>{"GET /start HTTP/1.1", "GET /middle?x=1 HTTP/1.1",
                                      "GET /art/POSTER.JPG?size=w500&v=2 HTTP/1.1"}));
  EXPECT_EQ(server_.UserAgents(),
            std::vector<std::string>(3, "\"Mozilla/4.0 (compatible; MSIE 6.1; Windows XP)\""));
}

TEST_F(FileDownloadTest, HeaderRequestWritesOnlyTheHeadersOverWhatTheFileHeld) {
  server_.Route("/h.png", Content("image/png", "BODY-THAT-MUST-NOT-ARRIVE"));
  HttpRoute unknown = Content("image/jpeg", "xyz");
  unknown.announce_length = false;
  server_.Route("/unknown.jpg", unknown);
  WriteFile(dir_ / "headers", std::string(5000, 'Z'));
  std::string url = server_.Url("/h.png");
  FileDownload download;
  download.SetUrl(url.c_str());
  EXPECT_EQ(download.GetContentLength(), 0.0) << "nothing asked yet";
  ASSERT_EQ(download.DownloadHeader((dir_ / "headers").c_str()), 0);
  std::string headers = ReadFile(dir_ / "headers");
  EXPECT_EQ(headers.rfind("HTTP/1.1 200 OK\r\n", 0), 0u) << headers;
  EXPECT_NE(headers.find("Content-Type: image/png\r\n"), std::string::npos);
  EXPECT_EQ(headers.find_first_of("BZ"), std::string::npos) << "no body, file truncated first";
  EXPECT_EQ(server_.RequestLines(), std::vector<std::string>{"HEAD /h.png HTTP/1.1"});
  // The length is reasonable when below the limit, or when unknown.
  EXPECT_EQ(download.GetContentLength(), 25.0);
  EXPECT_TRUE(download.IsReasonableLength(26));
  EXPECT_FALSE(download.IsReasonableLength(25));
  url = server_.Url("/unknown.jpg");
  download.SetUrl(url.c_str());
  ASSERT_EQ(download.DownloadHeader(nullptr), 0);
  EXPECT_EQ(download.GetContentLength(), -1.0);
  EXPECT_TRUE(download.IsReasonableLength(0));
}

// After a request into a file, a request on the same handle without one
// writes the body to standard output, as on a fresh handle.
TEST_F(FileDownloadTest, OneHandleRequestsIntoAFileThenToStandardOutput) {
  server_.Route("/s.png", Content("image/png", "steps"));
  std::string url = server_.Url("/s.png");
  FileDownload download;
  void* handle = download.CurlInit();
  ASSERT_NE(handle, nullptr);
  curl_easy_setopt(static_cast<CURL*>(handle), CURLOPT_URL, url.c_str());
  EXPECT_EQ(download.CurlExecCore(handle, (dir_ / "steps").c_str(), false), 0);
  testing::internal::CaptureStdout();
  int code = download.CurlExecCore(handle, nullptr, false);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "steps");
  EXPECT_EQ(code, 0);
  EXPECT_EQ(ReadFile(dir_ / "steps"), "steps");
  download.CurlUint(handle);
}

TEST_F(FileDownloadTest, ImageByExactContentTypeElseByFileExtension) {
  struct {
    const char *path, *type, *filename;  // a type of "" sends no Content-Type
    bool image;
  } cases[] = {
      {"/a/POSTER.JPG", "", "poster.jpg", true},
      {"/a/cover.png", "", "cover.png", true},
      {"/a/cover.jpeg", "", "cover.jpeg", false},
      {"/a/cover", "", "cover", false},
      {"/a/dir/", "", "", false},
      {"/a/x.jpg", "Image/JPEG", "x.jpg", false},
      {"/a/x.jpg", "image/jpeg; charset=binary", "x.jpg", false},
      {"/a/x.txt", "image/png", "x.txt", true},
  };
  for (const auto& c : cases) {
    server_.Route(c.path, Content(c.type, "img"));
    std::string url = server_.Url(c.path);
    FileDownload download(url.c_str());
    ASSERT_EQ(download.DownloadHeader(nullptr), 0) << c.path;
    EXPECT_STREQ(download.GetContentType(), c.type) << c.path;
    EXPECT_STREQ(download.GetFilename(), c.filename) << c.path;
    EXPECT_EQ(download.IsImageType(), c.image) << c.path << " " << c.type;
  }
}

TEST_F(FileDownloadTest, FailuresGiveMinusOneAndKeepEarlierResults) {
  server_.Route("/ok.png", Content("image/png", "png"));
  server_.Route("/gone", Redirect(302, "/missing.png"));
  std::string url = server_.Url("/ok.png");
  FileDownload download(url.c_str());
  ASSERT_EQ(download.DownloadHeader(nullptr), 0);
  // The code reported is that of the last response of the redirect chain.
  url = server_.Url("/gone");
  download.SetUrl(url.c_str());
  testing::internal::CaptureStdout();
  EXPECT_EQ(download.DownloadBody((dir_ / "gone").c_str()), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to download file, ResponseCode=404");
  EXPECT_STREQ(download.GetFilename(), "ok.png");
  EXPECT_STREQ(download.GetContentType(), "image/png");

  download.SetUrl(nullptr);
  EXPECT_EQ(download.DownloadHeader(nullptr), -1);

  // A refused connection is no transient failure: no retries, no sleeps.
  std::string closed;
  {
    HttpTestServer gone;
    closed = gone.Url("/x.jpg");
  }
  download.SetUrl(closed.c_str());
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(download.DownloadHeader(nullptr), -1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
}

}  // namespace
}  // namespace kinolot_test
