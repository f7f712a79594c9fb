// The HTTP server of `kinolot serve`; see web_server.h.
#include "web_server.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <thread>

#include "access_log.h"
#include "collection_routes.h"
#include "kinolot/platform/vexo_db.h"
#include "video_routes.h"
#include "web_page.h"

namespace kinolot_serve {

namespace {

// The largest request body: edit forms and collection calls are small.
constexpr size_t kMaxBody = 64 * 1024;
// Longer paths are no route's; refused before any pattern is tried on them.
constexpr size_t kMaxPath = 2048;
// What a client is told to wait before trying again once the database failed.
constexpr char kRetryAfter[] = "2";

}  // namespace

void LimitDatabaseWaits(int seconds) {
  const char* given = std::getenv("PGOPTIONS");
  std::string options = given != nullptr ? given : "";
  if (options.find("statement_timeout") == std::string::npos) {
    options += (options.empty() ? "" : " ") + std::string("-c statement_timeout=") +
               std::to_string(seconds) + "s";
    setenv("PGOPTIONS", options.c_str(), 1);
  }
  setenv("PGCONNECT_TIMEOUT", "5", 0);
}

bool ParseListenAddress(const std::string& text, std::string& host, int& port) {
  size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon + 1 >= text.size() || text.size() - colon > 6)
    return false;
  std::string portText = text.substr(colon + 1);
  if (portText.find_first_not_of("0123456789") != std::string::npos) return false;
  port = std::stoi(portText);
  host = text.substr(0, colon);
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']')
    host = host.substr(1, host.size() - 2);
  return !host.empty() && port <= 65535;
}

bool IsLoopbackHost(const std::string& host) {
  if (host == "localhost" || host == "::1") return true;
  in_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 && (ntohl(address.s_addr) >> 24) == 127;
}

WebServer::WebServer(ServeOptions options) : options_(std::move(options)) {
  ListenerOptions listen;
  listen.host = options_.host;
  listen.port = options_.port;
  listen.workers = options_.threads > 0
                       ? options_.threads
                       : 2 * std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  listen.headerSeconds = options_.headerSeconds;
  listen.maxBodyBytes = kMaxBody;
  listen.maxPerAddress = options_.maxPerAddress;
  FILE* log = options_.log;
  listener_ = std::make_unique<HttpListener>(
      listen, [this](HttpRequest& request, HttpResponse& response) { Handle(request, response); },
      [log](const HttpRequest& request, const HttpResponse& response, double ms) {
        if (log != nullptr) WriteLogLine(log, AccessLogLine(request, response, request.user, ms));
      });
  // Collections first: their paths would otherwise read as a kind named
  // "collections".
  AddCollectionRoutes(*this);
  AddVideoRoutes(*this);
}

WebServer::~WebServer() {
  Stop();
}

void WebServer::Handle(HttpRequest& request, HttpResponse& response) const {
  if (request.path.size() > kMaxPath) return SendError(response, 414, "request address too long");
  if (request.path == "/") {
    if (request.method != "GET") return SendError(response, 405, "method not allowed");
    return Page(request, response);
  }
  bool otherMethod = false;
  for (const Route& route : routes_) {
    if (!std::regex_match(request.path, request.matches, route.pattern)) continue;
    if (route.method == request.method) return Api(route, request, response);
    otherMethod = true;
  }
  if (otherMethod) return SendError(response, 405, "method not allowed");
  SendError(response, 404, "no such page");
}

void WebServer::Page(const HttpRequest& request, HttpResponse& response) const {
  if (!HostAllowed(request)) return SendError(response, 400, "unknown host name");
  response.SetHeader("Content-Security-Policy",
                     "default-src 'self'; img-src 'self' blob: data:; "
                     "style-src 'unsafe-inline'; script-src 'unsafe-inline'");
  response.SetHeader("X-Content-Type-Options", "nosniff");
  response.SetHeader("Referrer-Policy", "no-referrer");
  response.SetContent(kWebPage, "text/html; charset=utf-8");
}

bool WebServer::HostAllowed(const HttpRequest& request) const {
  if (!options_.tokens.empty()) return true;
  std::string host = request.Header("Host");
  if (!host.empty() && host.front() == '[') {
    size_t close = host.find(']');
    host = close == std::string::npos ? "" : host.substr(1, close - 1);
  } else {
    host = host.substr(0, host.find(':'));
  }
  return IsLoopbackHost(host);
}

void WebServer::Api(const Route& route, HttpRequest& http, HttpResponse& response) const {
  // The library's read calls leave out what a failed statement should have
  // read; only this count tells such an answer from a true one.
  const unsigned long failures = LibKinolot::VEXODBFailuresGet();
  try {
    std::string user = options_.user;
    if (!options_.tokens.empty()) {
      if (!options_.tokens.Authenticate(http.Header("Authorization"), user)) {
        response.SetHeader("WWW-Authenticate", "Bearer");
        throw ApiError(401, "a valid token is required (Authorization: Bearer TOKEN)");
      }
    } else if (!HostAllowed(http)) {
      throw ApiError(400, "unknown host name");
    }
    http.user = user;
    response.SetHeader("Cache-Control", "no-store");
    route.handler(ApiRequest(http, user), response);
  } catch (const ApiError& error) {
    SendError(response, error.status(), error.what());
  } catch (const std::exception&) {
    SendError(response, 500, "internal error");
  }
  if (LibKinolot::VEXODBFailuresGet() != failures) {
    response = HttpResponse();
    response.SetHeader("Cache-Control", "no-store");
    SendError(response, 503, "the database did not answer");
  }
  if (response.status == 503) response.SetHeader("Retry-After", kRetryAfter);
}

void WebServer::Get(const std::string& pattern, ApiHandler handler) {
  routes_.push_back({"GET", std::regex(pattern), std::move(handler)});
}
void WebServer::Post(const std::string& pattern, ApiHandler handler) {
  routes_.push_back({"POST", std::regex(pattern), std::move(handler)});
}
void WebServer::Delete(const std::string& pattern, ApiHandler handler) {
  routes_.push_back({"DELETE", std::regex(pattern), std::move(handler)});
}

int WebServer::Bind() {
  return listener_->Bind();
}

bool WebServer::Run() {
  return listener_->Run();
}

void WebServer::Stop() {
  listener_->Stop();
}

}  // namespace kinolot_serve
