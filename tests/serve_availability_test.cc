// `kinolot serve` under clients that misbehave, over raw loopback sockets:
// trickling and silent connections, header floods, too many connections
// from one address, pipelined requests and a stop while clients hang on.
// Every client here is bounded in count and time and stops by itself.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <regex>
#include <vector>

#include "support/serve_fixture.h"

namespace kinolot_test {
namespace {

using Clock = std::chrono::steady_clock;

// One raw client connection to the server on `port`.
class RawClient {
 public:
  explicit RawClient(int port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
  }
  ~RawClient() { close(socket_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  bool Send(const std::string& bytes) {
    return connected_ && send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                             static_cast<ssize_t>(bytes.size());
  }
  // True when the server has closed the connection or sent something
  // within `ms` milliseconds.
  bool Readable(int ms) {
    pollfd fd{socket_, POLLIN, 0};
    return poll(&fd, 1, ms) > 0;
  }
  // What the server sends until it closes the connection, for at most
  // `seconds`.
  std::string ReadAll(int seconds = 10) {
    std::string all;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
    char chunk[8192];
    while (Clock::now() < end && Readable(100)) {
      ssize_t n = recv(socket_, chunk, sizeof(chunk), 0);
      if (n <= 0) break;
      all.append(chunk, static_cast<size_t>(n));
    }
    return all;
  }

 private:
  int socket_;
  bool connected_ = false;
};

// Connections that send the start of a request and then one header byte
// every 50 ms, until told to stop, their server closes them, or 20 s pass.
class Tricklers {
 public:
  Tricklers(int port, int count) {
    for (int i = 0; i < count; ++i) {
      threads_.emplace_back([this, port] {
        RawClient client(port);
        bool open = client.Send("GET /api/movie HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ");
        const Clock::time_point end = Clock::now() + std::chrono::seconds(20);
        ++started_;
        while (open && !stop_ && Clock::now() < end)
          open = !client.Readable(50) && client.Send("x");
        if (!open) ++cutOff_;
        if (open && !stop_) ++expired_;
        ++ended_;
      });
    }
    // Each takes its place before the test goes on.
    const Clock::time_point end = Clock::now() + std::chrono::seconds(5);
    while (started_ < count && Clock::now() < end)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  ~Tricklers() { Stop(); }
  int Trickling() const { return started_ - ended_; }
  // Closed by the server.
  int CutOff() const { return cutOff_; }
  // Still trickling when their 20 s ran out.
  int Expired() const { return expired_; }
  void Stop() {
    stop_ = true;
    for (std::thread& thread : threads_)
      if (thread.joinable()) thread.join();
  }

 private:
  std::vector<std::thread> threads_;
  std::atomic<int> started_{0}, ended_{0}, cutOff_{0}, expired_{0};
  std::atomic<bool> stop_{false};
};

// Splits what a connection received into its answers' status codes and
// bodies.
std::vector<std::pair<int, std::string>> Answers(const std::string& stream) {
  std::vector<std::pair<int, std::string>> answers;
  size_t at = 0;
  while ((at = stream.find("HTTP/1.1 ", at)) != std::string::npos) {
    const int status = std::atoi(stream.c_str() + at + 9);
    const size_t bodyStart = stream.find("\r\n\r\n", at);
    if (bodyStart == std::string::npos) break;
    std::smatch length;
    const std::string head = stream.substr(at, bodyStart - at);
    size_t size = 0;
    if (std::regex_search(head, length, std::regex("Content-Length: (\\d+)", std::regex::icase)))
      size = std::stoul(length[1]);
    answers.emplace_back(status, stream.substr(bodyStart + 4, size));
    at = bodyStart + 4 + size;
  }
  return answers;
}

// The status of the first answer in `stream`, 0 when there is none.
int FirstStatus(const std::string& stream) {
  const auto answers = Answers(stream);
  return answers.empty() ? 0 : answers[0].first;
}

TEST_F(ServeTest, SlowClientsCostOnlyTheirOwnConnections) {
  kinolot_serve::ServeOptions options;
  options.log = nullptr;
  options.threads = 4;
  StartServer(std::move(options));
  // Twice as many tricklers as workers, and silent connections besides.
  Tricklers tricklers(port_, 8);
  std::vector<std::unique_ptr<RawClient>> silent;
  for (int i = 0; i < 50; ++i) silent.push_back(std::make_unique<RawClient>(port_));

  Answer answer = Get("/api/movie/1");
  EXPECT_EQ(tricklers.Trickling(), 8) << "the answer came only once the slow clients gave up";
  EXPECT_EQ(answer.status, 200);
  // A request without a body is answered at once, without waiting for one.
  RawClient post(port_);
  post.Send(
      "POST /api/movie/1 HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n\r\n");
  EXPECT_EQ(FirstStatus(post.ReadAll(1)), 400);
  EXPECT_EQ(tricklers.Trickling(), 8);
}

TEST_F(ServeTest, HeadersMustArriveWithinTheirDeadlineAndBound) {
  FILE* log = std::tmpfile();
  kinolot_serve::ServeOptions options;
  options.log = log;
  options.headerSeconds = 1;
  StartServer(std::move(options));
  {
    // However steadily it trickles, a client is cut off at the deadline.
    Tricklers tricklers(port_, 2);
    const Clock::time_point end = Clock::now() + std::chrono::seconds(10);
    while (tricklers.CutOff() < 2 && Clock::now() < end)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(tricklers.CutOff(), 2);
  }
  // A silent connection too.
  RawClient silent(port_);
  EXPECT_EQ(silent.ReadAll(5), "");

  RawClient flood(port_);
  std::string headers = "GET /api/movie HTTP/1.1\r\nHost: 127.0.0.1\r\n";
  for (int i = 0; i < 64; ++i)
    headers += "X-Flood-" + std::to_string(i) + ": " + std::string(1000, 'f') + "\r\n";
  flood.Send(headers + "\r\n");
  std::vector<std::pair<int, std::string>> refused = Answers(flood.ReadAll());
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_EQ(refused[0].first, 431);
  EXPECT_EQ(refused[0].second, R"({"error":"request headers too large"})");
  // Headers within the bound are fine.
  EXPECT_EQ(Get("/api/movie/1", {{"X-Large", std::string(8000, 'l')}}).status, 200);

  StopServer();
  const std::vector<std::string> lines = LogLines(log);
  ASSERT_EQ(lines.size(), 2u);
  // Refused before the access check: the client's address, no user.
  EXPECT_TRUE(std::regex_match(
      lines[0],
      std::regex(R"(\S+Z 127\.0\.0\.1 user=- "GET /api/movie HTTP/1\.1" 431 \d+ [\d.]+ms\n)")))
      << lines[0];
  EXPECT_NE(lines[1].find("user=1024 \"GET /api/movie/1 "), std::string::npos) << lines[1];
}

TEST_F(ServeTest, OneAddressHoldsAtMostItsShareOfConnections) {
  kinolot_serve::ServeOptions options;
  options.log = nullptr;
  options.maxPerAddress = 4;
  StartServer(std::move(options));
  std::vector<std::unique_ptr<RawClient>> held;
  for (int i = 0; i < 4; ++i) held.push_back(std::make_unique<RawClient>(port_));
  RawClient extra(port_);
  const std::string refused = extra.ReadAll();
  EXPECT_EQ(FirstStatus(refused), 503);
  EXPECT_NE(refused.find("Retry-After: "), std::string::npos);
  EXPECT_NE(refused.find("too many connections"), std::string::npos);

  held.pop_back();
  // The server notices the closed connection on its own.
  Answer answer;
  for (int attempt = 0; attempt < 50 && answer.status != 200; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    answer = Get("/api/movie/1");
  }
  EXPECT_EQ(answer.status, 200);
}

TEST_F(ServeTest, PipelinedRequestsAreAnsweredInOrder) {
  kinolot_serve::ServeOptions options;
  options.log = nullptr;
  StartServer(std::move(options));
  RawClient client(port_);
  const std::string host = "Host: 127.0.0.1\r\n";
  client.Send("GET /api/movie/2 HTTP/1.1\r\n" + host + "\r\n" + "GET /api/movie/99 HTTP/1.1\r\n" +
              host + "\r\n" + "POST /api/movie/1 HTTP/1.1\r\n" + host +
              "Content-Type: application/json\r\nContent-Length: 2\r\n\r\n[]" +
              "GET /api/movie/1 HTTP/1.1\r\n" + host + "Connection: close\r\n\r\n");
  std::vector<std::pair<int, std::string>> answers = Answers(client.ReadAll());
  ASSERT_EQ(answers.size(), 4u);
  EXPECT_EQ(answers[0].first, 200);
  EXPECT_NE(answers[0].second.find("\"title\":\"beta\""), std::string::npos);
  EXPECT_EQ(answers[1].first, 404);
  EXPECT_EQ(answers[2].first, 400);
  EXPECT_EQ(answers[3].first, 200);
  EXPECT_NE(answers[3].second.find("\"title\":\"Alpha\""), std::string::npos);
}

TEST_F(ServeTest, StopDoesNotWaitForClientsThatHangOn) {
  kinolot_serve::ServeOptions options;
  options.log = nullptr;
  StartServer(std::move(options));
  Tricklers tricklers(port_, 4);
  RawClient silent(port_);
  RawClient kept(port_);
  kept.Send("GET /api/movie/1 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
  EXPECT_EQ(FirstStatus(kept.ReadAll(1)), 200);

  StopServer();
  tricklers.Stop();
  EXPECT_EQ(tricklers.Expired(), 0) << "the stop waited for the slow clients";
  // Idle connections, kept-alive ones too, are closed by the stop.
  EXPECT_TRUE(silent.Readable(1000));
  EXPECT_EQ(silent.ReadAll(1), "");
  EXPECT_EQ(kept.ReadAll(1), "");
}

}  // namespace
}  // namespace kinolot_test
