// A small HTTP/1.1 server on 127.0.0.1 for the download tests: one thread
// answers one request per connection from a table of routes and records
// what it was asked.
#ifndef KINOLOT_TESTS_SUPPORT_HTTP_TEST_SERVER_H_
#define KINOLOT_TESTS_SUPPORT_HTTP_TEST_SERVER_H_

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kinolot_test {

struct HttpRoute {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers;  // sent as they stand
  std::string body;
  // Without a Content-Length header the body ends when the connection closes.
  bool announce_length = true;
};

// A 200 answer with `body` and, unless `type` is "", that Content-Type.
inline HttpRoute Content(const std::string& type, const std::string& body) {
  HttpRoute route;
  if (!type.empty()) route.headers = {{"Content-Type", type}};
  route.body = body;
  return route;
}
inline HttpRoute Redirect(int status, const std::string& location) {
  HttpRoute route;
  route.status = status;
  route.headers = {{"Location", location}};
  return route;
}

class HttpTestServer {
 public:
  // Listens on an ephemeral port of 127.0.0.1; fails the test when it cannot.
  HttpTestServer();
  ~HttpTestServer();
  HttpTestServer(const HttpTestServer&) = delete;
  HttpTestServer& operator=(const HttpTestServer&) = delete;

  // Answers requests for `path` (the target without its query) with `route`;
  // unknown paths get a 404, HEAD requests the headers only.
  void Route(const std::string& path, HttpRoute route);
  // "http://127.0.0.1:<port>" followed by `target`.
  std::string Url(const std::string& target) const;
  int port() const { return port_; }

  // Request lines ("GET /a HTTP/1.1") and User-Agent values received so far.
  std::vector<std::string> RequestLines();
  std::vector<std::string> UserAgents();

 private:
  void Serve();
  void Reply(int client);

  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::mutex mutex_;
  std::map<std::string, HttpRoute> routes_;
  std::vector<std::string> request_lines_;
  std::vector<std::string> user_agents_;
  std::thread thread_;
};

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_HTTP_TEST_SERVER_H_
