// Times `kinolot serve` over loopback HTTP on a generated library of 100,000
// items: a List page of 50 movies with their summary, people and files, and
// the GetInfo of one episode with everything, each from 1 and from 16
// clients at once on keep-alive connections. Prints requests per second and
// the median and 99th-percentile latency. Then three runs of the server
// under pressure:
//   - 64 keep-alive clients reading the list while a newcomer opens a new
//     connection for each GetInfo: the newcomer's p50 and p99;
//   - 256 clients with a new connection per request: requests unanswered
//     (no answer within 10 s, or a refused or reset connection);
//   - 16 clients trickling their headers a byte at a time while 16 normal
//     clients ask for GetInfo: the normal clients' figures.
//
//   serve_bench [SERVER] [SECONDS]
//
// SERVER is the database server's host or socket folder (as PGHOST); each
// measurement runs for SECONDS (default 5). The generated rows are removed
// again at the end.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>

#include "bench_library.h"
#include "serve/web_server.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Figures {
  double perSecond = 0, p50 = 0, p99 = 0;
  long failed = 0;
};

// Latencies in milliseconds, collected from several threads.
class Latencies {
 public:
  void Add(std::vector<double>& mine) {
    std::lock_guard<std::mutex> lock(merge_);
    all_.insert(all_.end(), mine.begin(), mine.end());
  }
  Figures Summary(double elapsed, long failed) {
    Figures figures;
    figures.failed = failed;
    if (all_.empty()) return figures;
    std::sort(all_.begin(), all_.end());
    figures.perSecond = all_.size() / elapsed;
    figures.p50 = all_[all_.size() / 2];
    figures.p99 = all_[std::min(all_.size() - 1, all_.size() * 99 / 100)];
    return figures;
  }

 private:
  std::mutex merge_;
  std::vector<double> all_;
};

Clock::time_point After(double seconds) {
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Sends GET `path` on `client` until `end`, waiting `pause` milliseconds
// after each answer.
void Loop(httplib::Client& client, const std::string& path, Clock::time_point end,
          Latencies& latencies, std::atomic<long>& failed, int pause = 0) {
  std::vector<double> mine;
  while (Clock::now() < end) {
    const Clock::time_point sent = Clock::now();
    httplib::Result result = client.Get(path.c_str());
    if (!result || result->status != 200) ++failed;
    mine.push_back(std::chrono::duration<double, std::milli>(Clock::now() - sent).count());
    if (pause > 0) std::this_thread::sleep_for(std::chrono::milliseconds(pause));
  }
  latencies.Add(mine);
}

void Configure(httplib::Client& client, bool keepAlive) {
  client.set_keep_alive(keepAlive);
  client.set_tcp_nodelay(true);  // as browsers do
  client.set_connection_timeout(10);
  client.set_read_timeout(10);
}

// Starts `clients` threads that send GET `path` until `end`, on kept-alive
// connections or on a new one per request.
std::vector<std::thread> StartClients(int port, int clients, bool keepAlive,
                                      const std::string& path, Clock::time_point end,
                                      Latencies& latencies, std::atomic<long>& failed) {
  std::vector<std::thread> threads;
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([=, &path, &latencies, &failed] {
      httplib::Client client("127.0.0.1", port);
      Configure(client, keepAlive);
      Loop(client, path, end, latencies, failed);
    });
  }
  return threads;
}

// `clients` threads send GET `path` for `seconds`, each request on a new
// connection unless `keepAlive`.
Figures Measure(int port, const std::string& path, int clients, double seconds,
                bool keepAlive = true) {
  Latencies latencies;
  std::atomic<long> failed{0};
  const Clock::time_point start = Clock::now();
  for (std::thread& thread :
       StartClients(port, clients, keepAlive, path, After(seconds), latencies, failed))
    thread.join();
  return latencies.Summary(SecondsSince(start), failed);
}

// `heavy` keep-alive clients send `heavyPath` while one newcomer sends
// `path` on a new connection every 20 ms: the newcomer's figures.
Figures Newcomer(int port, const std::string& heavyPath, int heavy, const std::string& path,
                 double seconds) {
  Latencies heavyLatencies, latencies;
  std::atomic<long> heavyFailed{0}, failed{0};
  const Clock::time_point start = Clock::now(), end = After(seconds);
  std::vector<std::thread> threads =
      StartClients(port, heavy, true, heavyPath, end, heavyLatencies, heavyFailed);
  httplib::Client newcomer("127.0.0.1", port);
  Configure(newcomer, false);
  Loop(newcomer, path, end, latencies, failed, 20);
  for (std::thread& thread : threads) thread.join();
  return latencies.Summary(SecondsSince(start), failed);
}

// One connection that sends the start of a request and then one header byte
// every 100 ms until `end`, connecting again whenever the server closes it.
void Trickle(int port, Clock::time_point end) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  while (Clock::now() < end) {
    int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    if (socket < 0) return;
    if (connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
      const char start[] = "GET /api/movie HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ";
      bool open = send(socket, start, sizeof(start) - 1, MSG_NOSIGNAL) > 0;
      while (open && Clock::now() < end) {
        pollfd closed{socket, POLLIN, 0};
        if (poll(&closed, 1, 100) > 0) break;  // the server answered or closed
        open = send(socket, "x", 1, MSG_NOSIGNAL) == 1;
      }
    }
    close(socket);
  }
}

// `slow` trickling connections while `clients` keep-alive clients send GET
// `path`: the normal clients' figures.
Figures Slowloris(int port, const std::string& path, int slow, int clients, double seconds) {
  const Clock::time_point end = After(seconds + 1);
  std::vector<std::thread> tricklers;
  for (int c = 0; c < slow; ++c) tricklers.emplace_back(Trickle, port, end);
  std::this_thread::sleep_for(std::chrono::seconds(1));  // let them take their places
  Figures figures = Measure(port, path, clients, seconds);
  for (std::thread& thread : tricklers) thread.join();
  return figures;
}

void Print(const char* what, const Figures& f, const char* failures = "FAILURES") {
  std::printf("  %-44s %8.1f requests/s  p50 %7.1f ms  p99 %7.1f ms", what, f.perSecond, f.p50,
              f.p99);
  if (f.failed) std::printf("  (%ld %s)", f.failed, failures);
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 3) {
    std::fprintf(stderr, "usage: %s [SERVER] [SECONDS]\n", argv[0]);
    return 2;
  }
  if (argc >= 2) setenv("PGHOST", argv[1], 1);
  const double seconds = argc == 3 ? std::atof(argv[2]) : 5.0;
  const long items = 100000;

  kinolot_bench::Library library;
  if (!library.Connected()) {
    std::fprintf(stderr, "cannot connect: %s\n", LibKinolot::VEXODBErrorGet(nullptr));
    return 1;
  }
  if (!library.Generate(items)) return 1;

  kinolot_serve::ServeOptions options;
  options.port = 0;
  options.log = nullptr;
  kinolot_serve::WebServer server(std::move(options));
  const int port = server.Bind();
  if (port < 0) return 1;
  std::thread serving([&] { server.Run(); });

  const std::string list = "/api/movie?offset=" + std::to_string(items / 4) +
                           "&limit=50&sort=sort_title&additional=summary,actor,director,files";
  const std::string info = "/api/tvshow_episode/" +
                           std::to_string(library.First("tvshow_episode")) +
                           "?additional=summary,extra,actor,director,writer,genre,files,"
                           "tvshow_summary";
  std::printf("%ld items, %.0f s per measurement, server with its default workers on loopback\n",
              items, seconds);
  for (const auto& request :
       {std::make_pair("List, 50 movies", list), std::make_pair("GetInfo, an episode", info)}) {
    for (int clients : {1, 16}) {
      const std::string what =
          std::string(request.first) + ", " + std::to_string(clients) + " client(s)";
      Print(what.c_str(), Measure(port, request.second, clients, seconds));
    }
  }
  Print("GetInfo of a newcomer beside 64 listing clients", Newcomer(port, list, 64, info, seconds));
  Print("GetInfo, 256 clients, a connection each", Measure(port, info, 256, seconds, false),
        "unanswered");
  Print("GetInfo, 16 clients beside 16 trickling ones", Slowloris(port, info, 16, 16, seconds));
  server.Stop();
  serving.join();
  return 0;
}
