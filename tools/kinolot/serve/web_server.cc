// The HTTP server of `kinolot serve`; see web_server.h.
#include "web_server.h"

#include <arpa/inet.h>

#include <chrono>
#include <thread>

#include "access_log.h"
#include "collection_routes.h"
#include "video_routes.h"
#include "web_page.h"

namespace kinolot_serve {

namespace {

// A worker thread serves one request from start to end, so what the access
// log line needs besides the request and response is kept per thread.
thread_local std::chrono::steady_clock::time_point tRequestStart;
thread_local std::string tRequestUser;

// The largest request body: edit forms and collection calls are small.
constexpr size_t kMaxBody = 64 * 1024;

const char* ReasonOf(int status) {
  switch (status) {
    case 400:
      return "bad request";
    case 401:
      return "a valid token is required";
    case 404:
      return "no such page";
    case 405:
      return "method not allowed";
    case 413:
      return "request body too large";
    case 414:
      return "request address too long";
    default:
      return status >= 500 ? "internal error" : "request failed";
  }
}

}  // namespace

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
  const int threads = options_.threads > 0 ? options_.threads : 1;
  server_.new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
  server_.set_payload_max_length(kMaxBody);
  // Idle keep-alive connections hold a worker; let them go soon.
  server_.set_keep_alive_timeout(2);
  server_.set_keep_alive_max_count(100);
  // Answers go out as a header write and a body write; without this the body
  // of every answer on a kept-alive connection waits for the client's
  // delayed acknowledgement of the header (some 40 ms).
  server_.set_tcp_nodelay(true);
  server_.set_read_timeout(10);
  server_.set_write_timeout(10);

  server_.set_pre_routing_handler([](const httplib::Request&, httplib::Response&) {
    tRequestStart = std::chrono::steady_clock::now();
    tRequestUser.clear();
    return httplib::Server::HandlerResponse::Unhandled;
  });
  server_.set_error_handler([](const httplib::Request&, httplib::Response& response) {
    if (response.body.empty()) SendError(response, response.status, ReasonOf(response.status));
  });
  server_.set_exception_handler(
      [](const httplib::Request&, httplib::Response& response, std::exception_ptr) {
        SendError(response, 500, "internal error");
      });
  FILE* log = options_.log;
  server_.set_logger([log](const httplib::Request& request, const httplib::Response& response) {
    if (log == nullptr) return;
    double ms = 0;
    if (tRequestStart.time_since_epoch().count() != 0)
      ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() -
                                                     tRequestStart)
               .count();
    WriteLogLine(log, AccessLogLine(request, response, tRequestUser, ms));
    tRequestStart = {};
  });

  server_.Get("/", [this](const httplib::Request& request, httplib::Response& response) {
    if (!HostAllowed(request)) return SendError(response, 400, "unknown host name");
    response.set_header("Content-Security-Policy",
                        "default-src 'self'; img-src 'self' blob: data:; "
                        "style-src 'unsafe-inline'; script-src 'unsafe-inline'");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_content(kWebPage, "text/html; charset=utf-8");
  });
  // Collections first: their paths would otherwise read as a kind named
  // "collections".
  AddCollectionRoutes(*this);
  AddVideoRoutes(*this);
}

WebServer::~WebServer() {
  Stop();
}

bool WebServer::HostAllowed(const httplib::Request& request) const {
  if (!options_.tokens.empty()) return true;
  std::string host = request.get_header_value("Host");
  if (!host.empty() && host.front() == '[') {
    size_t close = host.find(']');
    host = close == std::string::npos ? "" : host.substr(1, close - 1);
  } else {
    host = host.substr(0, host.find(':'));
  }
  return IsLoopbackHost(host);
}

httplib::Server::Handler WebServer::Wrap(ApiHandler handler) {
  return [this, handler](const httplib::Request& http, httplib::Response& response) {
    try {
      std::string user = options_.user;
      if (!options_.tokens.empty()) {
        if (!options_.tokens.Authenticate(http.get_header_value("Authorization"), user)) {
          response.set_header("WWW-Authenticate", "Bearer");
          throw ApiError(401, "a valid token is required (Authorization: Bearer TOKEN)");
        }
      } else if (!HostAllowed(http)) {
        throw ApiError(400, "unknown host name");
      }
      tRequestUser = user;
      response.set_header("Cache-Control", "no-store");
      handler(ApiRequest(http, user), response);
    } catch (const ApiError& error) {
      SendError(response, error.status(), error.what());
    } catch (const std::exception&) {
      SendError(response, 500, "internal error");
    }
  };
}

void WebServer::Get(const std::string& pattern, ApiHandler handler) {
  server_.Get(pattern, Wrap(std::move(handler)));
}
void WebServer::Post(const std::string& pattern, ApiHandler handler) {
  server_.Post(pattern, Wrap(std::move(handler)));
}
void WebServer::Delete(const std::string& pattern, ApiHandler handler) {
  server_.Delete(pattern, Wrap(std::move(handler)));
}

int WebServer::Bind() {
  int port = -1;
  if (options_.port == 0) {
    port = server_.bind_to_any_port(options_.host);
  } else if (server_.bind_to_port(options_.host, options_.port)) {
    port = options_.port;
  }
  bound_ = port > 0;
  return bound_ ? port : -1;
}

bool WebServer::Run() {
  if (!bound_) return false;
  running_ = true;
  bool served = stopping_ || server_.listen_after_bind();
  running_ = false;
  return served;
}

void WebServer::Stop() {
  stopping_ = true;
  // stop() only ends a loop that has started, so wait for Run() to get there.
  while (running_ && !server_.is_running())
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  server_.stop();
}

}  // namespace kinolot_serve
