// The fixture of the `kinolot serve` tests: the metadata test library, a real
// WebServer on a free loopback port in a thread of the test process, and an
// HTTP client that reads its answers.
#ifndef KINOLOT_TESTS_SUPPORT_SERVE_FIXTURE_H_
#define KINOLOT_TESTS_SUPPORT_SERVE_FIXTURE_H_

#include <httplib.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kinolot/poster_store.h"
#include "serve/web_server.h"
#include "support/metadata_library.h"

namespace kinolot_test {

struct Answer {
  int status = 0;  // 0 when the request got no answer
  std::string body;
  httplib::Headers headers;
  Json::Value json() const {
    Json::Value value;
    Json::Reader().parse(body, value);
    return value;
  }
  std::string header(const char* name) const {
    auto found = headers.find(name);
    return found == headers.end() ? "" : found->second;
  }
};

class ServeTest : public MetadataTest {
 protected:
  void TearDown() override {
    StopServer();
    MetadataTest::TearDown();
  }

  // Starts the server; `options.port` is replaced by a free one.
  void StartServer(kinolot_serve::ServeOptions options = {}) {
    options.port = 0;
    server_ = std::make_unique<kinolot_serve::WebServer>(std::move(options));
    port_ = server_->Bind();
    ASSERT_GT(port_, 0);
    thread_ = std::thread([this] { server_->Run(); });
  }
  void StopServer() {
    if (!server_) return;
    server_->Stop();
    thread_.join();
    server_.reset();
  }

  // The lines of an access log the server wrote to `log`, which is closed.
  static std::vector<std::string> LogLines(FILE* log) {
    std::rewind(log);
    char line[1024];
    std::vector<std::string> lines;
    while (std::fgets(line, sizeof(line), log)) lines.push_back(line);
    std::fclose(log);
    return lines;
  }

  Answer Send(const std::string& method, const std::string& path, const std::string& body = "",
              httplib::Headers headers = {}, const char* type = "application/json") {
    httplib::Client client("127.0.0.1", port_);
    client.set_read_timeout(30);
    httplib::Result result = method == "GET"      ? client.Get(path.c_str(), headers)
                             : method == "DELETE" ? client.Delete(path.c_str(), headers)
                                                  : client.Post(path.c_str(), headers, body, type);
    Answer answer;
    if (result) {
      answer.status = result->status;
      answer.body = result->body;
      answer.headers = result->headers;
    }
    return answer;
  }
  Answer Get(const std::string& path, httplib::Headers headers = {}) {
    return Send("GET", path, "", std::move(headers));
  }

  // Stores a generated poster image for mapper `mapperId` the way a scanner
  // does, through a file the database server reads: a JPEG showing `title`.
  // Returns the bytes stored.
  std::string AddPoster(int mapperId, const std::string& title = "") {
    char folder[] = "/tmp/kinolot-poster-XXXXXX";
    if (mkdtemp(folder) == nullptr) return "";
    chmod(folder, 0755);  // the server may run as another user
    const std::string base = std::string(folder) + "/poster";
    std::ofstream(base + ".txt") << title;
    static const char* kColours[][2] = {{"0x1f4068", "0x0b132b"},
                                        {"0x5c2a3d", "0x1b0f1e"},
                                        {"0x2d5a4a", "0x0f1f1a"},
                                        {"0x6b4f2a", "0x1e160c"},
                                        {"0x3b3f72", "0x101226"}};
    const auto& colour = kColours[mapperId % 5];
    const std::string command =
        "ffmpeg -nostdin -loglevel error -y -f lavfi -i 'gradients=s=300x450:c0=" +
        std::string(colour[0]) + ":c1=" + colour[1] + ":nb_colors=2' -vf " +
        "\"drawtext=textfile=" + base +
        ".txt:expansion=none:fontcolor=white@0.9:fontsize=30:x=(w-tw)/2:y=h*0.68\" "
        "-frames:v 1 " +
        base + ".jpg >/dev/null 2>&1";
    const std::string path = base + ".jpg";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    chmod(path.c_str(), 0644);
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(LibKinolot::ImportPoster(mapperId, path), 0);
    std::system(("rm -rf " + std::string(folder)).c_str());
    return bytes;
  }

  std::unique_ptr<kinolot_serve::WebServer> server_;
  std::thread thread_;
  int port_ = 0;
};

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_SERVE_FIXTURE_H_
