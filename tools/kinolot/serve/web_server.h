// The HTTP server of `kinolot serve`: the web page at "/", the JSON routes
// under "/api/", and what every request goes through on its way: the access
// check, size bounds, JSON errors instead of crashes, and the access log.
//
// Connections are read and written by the listener (http_listener.h); each
// complete request runs on a pool of worker threads, on VideoMetadataAPI
// objects of its own. A request during which any database statement failed
// is answered 503 with Retry-After, never with what the library could still
// read. Without tokens the server answers every request for the
// default user, which is safe only on loopback: the command refuses other
// addresses without a token file, and the server then also refuses requests
// whose Host header names something other than this machine, so that a web
// site cannot reach it under a name of its own.
#ifndef KINOLOT_TOOLS_SERVE_WEB_SERVER_H_
#define KINOLOT_TOOLS_SERVE_WEB_SERVER_H_

#include <cstdio>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "access_tokens.h"
#include "api_request.h"
#include "http_listener.h"

namespace kinolot_serve {

struct ServeOptions {
  std::string host = "127.0.0.1";
  int port = 8350;  // 0 picks a free port
  // When not empty, every /api/ request needs a token of this set.
  AccessTokens tokens;
  // The user requests act for when there are no tokens.
  std::string user = "1024";
  // Requests worked on at once; connections are not bounded by it. 0 is
  // two per processor core: a request mostly waits for the database, which
  // shares the cores, and more at once only lengthens every one of them.
  int threads = 0;
  // The access log, null for none.
  FILE* log = stderr;
  // Seconds a client has from the moment its next request is awaited to
  // the end of its headers.
  int headerSeconds = 10;
  // Connections one client address may hold open at once.
  int maxPerAddress = 512;
};

// Makes every database connection the process opens from now on give up a
// statement after `seconds` and a connect after a few seconds, through
// libpq's environment (PGOPTIONS, PGCONNECT_TIMEOUT), unless the environment
// already sets them. A request whose statement gave up is answered 503.
void LimitDatabaseWaits(int seconds);

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
  // Serves requests until Stop(). Returns false when nothing was bound.
  bool Run();
  // Ends Run() from any thread, also before Run() has started, within a few
  // seconds whatever clients do: requests under way are answered first.
  void Stop();

  void Get(const std::string& pattern, ApiHandler handler) override;
  void Post(const std::string& pattern, ApiHandler handler) override;
  void Delete(const std::string& pattern, ApiHandler handler) override;

 private:
  struct Route {
    std::string method;
    std::regex pattern;
    ApiHandler handler;
  };
  // Runs on a worker thread for each request.
  void Handle(HttpRequest& request, HttpResponse& response) const;
  void Page(const HttpRequest& request, HttpResponse& response) const;
  void Api(const Route& route, HttpRequest& request, HttpResponse& response) const;
  bool HostAllowed(const HttpRequest& request) const;

  ServeOptions options_;
  std::vector<Route> routes_;
  std::unique_ptr<HttpListener> listener_;
};

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_WEB_SERVER_H_
