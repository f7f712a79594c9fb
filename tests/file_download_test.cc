// FileDownload against a real HTTP server on the loopback interface.
#include "kinolot/file_download.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "support/http_test_server.h"
#include "support/temp_files.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

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
