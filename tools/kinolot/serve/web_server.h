// The HTTP server of `kinolot serve`: the web page at "/", the JSON routes
// under "/api/", and what every request goes through on its way: the access
// check, size bounds, JSON errors instead of crashes, and the access log.
//
// Requests run on a pool of worker threads, each on VideoMetadataAPI objects
// of its own. Without tokens the server answers every request for the
// default user, which is safe only on loopback: the command refuses other
// addresses without a token file, and the server then also refuses requests
// whose Host header names something other than this machine, so that a web
// site cannot reach it under a name of its own.
#ifndef KINOLOT_TOOLS_SERVE_WEB_SERVER_H_
#define KINOLOT_TOOLS_SERVE_WEB_SERVER_H_

#include <httplib.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "access_tokens.h"
#include "api_request.h"

namespace kinolot_serve {

struct ServeOptions {
  std::string host = "127.0.0.1";
  int port = 8350;  // 0 picks a free port
  // When not empty, every /api/ request needs a token of this set.
  AccessTokens tokens;
  // The user requests act for when there are no tokens.
  std::string user = "1024";
  int threads = 16;
  // The access log, null for none.
  FILE* log = stderr;
};

// Splits "HOST:PORT" or "[IPV6]:PORT". Returns false for anything else.
bool ParseListenAddress(const std::string& text, std::string& host, int& port);
// True for "localhost", 127.0.0.0/8 and ::1.
bool IsLoopbackHost(const std::string& host);

class WebServer : public ApiRoutes {
 public:
  explicit WebServer(ServeOptions options);
  ~WebServer() override;
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // Opens the listening socket. Returns the port, or -1 when the address
  // cannot be bound.
  int Bind();
  // Serves requests until Stop(); requests under way are finished first.
  // Returns false when nothing was bound.
  bool Run();
  // Ends Run() from any thread; also before Run() has started.
  void Stop();

  void Get(const std::string& pattern, ApiHandler handler) override;
  void Post(const std::string& pattern, ApiHandler handler) override;
  void Delete(const std::string& pattern, ApiHandler handler) override;

 private:
  httplib::Server::Handler Wrap(ApiHandler handler);
  bool HostAllowed(const httplib::Request& request) const;

  ServeOptions options_;
  httplib::Server server_;
  bool bound_ = false;
  std::atomic<bool> stopping_{false};
  std::atomic<bool> running_{false};
};

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_WEB_SERVER_H_
