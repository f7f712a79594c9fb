// The network side of `kinolot serve`: accepts connections, reads requests
// within deadlines and size bounds, hands each complete request to a pool of
// worker threads, and writes the answers back in order.
//
// One I/O thread drives every connection without blocking, so a client that
// sends slowly, says nothing or holds its connection open for hours costs a
// socket and a few kilobytes, never a thread. Only a request read in full
// reaches a worker, where a route may block on the database; a connection
// that has had many answers lets a newcomer's request go first for a moment
// (worker_pool.h), so that heavy users do not hold up others. A connection
// reads its next request only once the previous answer is written, so
// pipelined requests are answered in the order sent.
//
// What a client cannot do: take longer than the header deadline from the
// moment its next request is awaited to the end of its headers (however
// slowly it trickles them), send headers past the header bound (431), send a
// body past the body bound (413) or slower than the body deadline, or hold
// more than the per-address number of connections at once (503).
#ifndef KINOLOT_TOOLS_SERVE_HTTP_LISTENER_H_
#define KINOLOT_TOOLS_SERVE_HTTP_LISTENER_H_

#include <functional>
#include <memory>
#include <string>

#include "http_message.h"

namespace kinolot_serve {

struct ListenerOptions {
  std::string host = "127.0.0.1";
  int port = 8350;  // 0 picks a free port
  int workers = 16;
  // From awaiting a request (also on a kept-alive connection) to the end of
  // its headers.
  int headerSeconds = 10;
  // From the end of the headers to the end of the body.
  int bodySeconds = 10;
  size_t maxHeaderBytes = 16 * 1024;
  size_t maxBodyBytes = 64 * 1024;
  // Open connections from one client address.
  int maxPerAddress = 512;
};

class HttpListener {
 public:
  // Runs on a worker thread for every request read in full; fills `response`.
  using Handler = std::function<void(HttpRequest& request, HttpResponse& response)>;
  // Runs once per answered request, also for those refused before reaching
  // the handler, with the milliseconds from the end of its headers.
  using Logger =
      std::function<void(const HttpRequest& request, const HttpResponse& response, double ms)>;

  HttpListener(ListenerOptions options, Handler handler, Logger logger);
  ~HttpListener();
  HttpListener(const HttpListener&) = delete;
  HttpListener& operator=(const HttpListener&) = delete;

  // Opens the listening socket. Returns the port, or -1 when the address
  // cannot be bound.
  int Bind();
  // Serves on the calling thread until Stop(). Returns false when nothing
  // was bound.
  bool Run();
  // Ends Run() from any thread, also before it has started: no connection is
  // accepted any more, idle connections close at once, requests under way
  // are answered, and after a grace of three seconds whatever remains is
  // closed.
  void Stop();

  // The sockets, connections and threads; known only to the source file.
  class State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_HTTP_LISTENER_H_
