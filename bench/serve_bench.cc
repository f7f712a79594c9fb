// Times `kinolot serve` over loopback HTTP on a generated library of 100,000
// items: a List page of 50 movies with their summary, people and files, and
// the GetInfo of one episode with everything, each from 1 and from 16
// clients at once on keep-alive connections. Prints requests per second and
// the median and 99th-percentile latency.
//
//   serve_bench [SERVER] [SECONDS]
//
// SERVER is the database server's host or socket folder (as PGHOST); each
// measurement runs for SECONDS (default 5). The generated rows are removed
// again at the end.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench_library.h"
#include "serve/web_server.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Figures {
  double perSecond = 0, p50 = 0, p99 = 0;
  long failed = 0;
};

// `clients` threads send GET `path` over and over for `seconds`.
Figures Measure(int port, const std::string& path, int clients, double seconds) {
  std::vector<double> latencies;
  std::mutex merge;
  std::atomic<long> failed{0};
  const Clock::time_point start = Clock::now();
  const Clock::time_point end =
      start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  std::vector<std::thread> threads;
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([&] {
      httplib::Client client("127.0.0.1", port);
      client.set_keep_alive(true);
      client.set_tcp_nodelay(true);  // as browsers do
      client.set_read_timeout(60);
      std::vector<double> mine;
      while (Clock::now() < end) {
        const Clock::time_point sent = Clock::now();
        httplib::Result result = client.Get(path.c_str());
        if (!result || result->status != 200) ++failed;
        mine.push_back(std::chrono::duration<double, std::milli>(Clock::now() - sent).count());
      }
      std::lock_guard<std::mutex> lock(merge);
      latencies.insert(latencies.end(), mine.begin(), mine.end());
    });
  }
  for (std::thread& thread : threads) thread.join();
  const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  Figures figures;
  figures.failed = failed;
  if (latencies.empty()) return figures;
  std::sort(latencies.begin(), latencies.end());
  figures.perSecond = latencies.size() / elapsed;
  figures.p50 = latencies[latencies.size() / 2];
  figures.p99 = latencies[std::min(latencies.size() - 1, latencies.size() * 99 / 100)];
  return figures;
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
  options.threads = 16;
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
  std::printf("%ld items, %.0f s per measurement, server with 16 workers on loopback\n", items,
              seconds);
  for (const auto& request :
       {std::make_pair("List, 50 movies", list), std::make_pair("GetInfo, an episode", info)}) {
    for (int clients : {1, 16}) {
      Figures f = Measure(port, request.second, clients, seconds);
      std::printf("  %-22s %2d client%s %8.1f requests/s  p50 %7.1f ms  p99 %7.1f ms%s\n",
                  request.first, clients, clients == 1 ? " " : "s", f.perSecond, f.p50, f.p99,
                  f.failed ? "  (FAILURES)" : "");
    }
  }
  server.Stop();
  serving.join();
  return 0;
}
