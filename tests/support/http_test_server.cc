// The loopback HTTP server of the download tests.
#include "support/http_test_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kinolot_test {

HttpTestServer::HttpTestServer() {
  listener_ = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener_, 16) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    ADD_FAILURE() << "cannot listen on 127.0.0.1";
    return;
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread(&HttpTestServer::Serve, this);
}

HttpTestServer::~HttpTestServer() {
  stop_ = true;
  if (thread_.joinable()) thread_.join();
  if (listener_ >= 0) close(listener_);
}

void HttpTestServer::Route(const std::string& path, HttpRoute route) {
  std::lock_guard<std::mutex> lock(mutex_);
  routes_[path] = std::move(route);
}

std::string HttpTestServer::Url(const std::string& target) const {
  return "http://127.0.0.1:" + std::to_string(port_) + target;
}

std::vector<std::string> HttpTestServer::RequestLines() {
  std::lock_guard<std::mutex> lock(mutex_);
  return request_lines_;
}

std::vector<std::string> HttpTestServer::UserAgents() {
  std::lock_guard<std::mutex> lock(mutex_);
  return user_agents_;
}

void HttpTestServer::Serve() {
  // Polling with a short timeout lets the destructor stop the loop.
  while (!stop_) {
    pollfd waiting{listener_, POLLIN, 0};
    if (poll(&waiting, 1, 50) <= 0) continue;
    int client = accept(listener_, nullptr, nullptr);
    if (client < 0) continue;
    Reply(client);
    close(client);
  }
}

void HttpTestServer::Reply(int client) {
  std::string request;
  char buffer[4096];
  while (request.find("\r\n\r\n") == std::string::npos && request.size() < 65536) {
    pollfd readable{client, POLLIN, 0};
    if (poll(&readable, 1, 2000) <= 0) return;
    ssize_t n = recv(client, buffer, sizeof(buffer), 0);
    if (n <= 0) return;
    request.append(buffer, static_cast<size_t>(n));
  }
  // "<method> <target> HTTP/1.1", then one header per line.
  std::string line = request.substr(0, request.find("\r\n"));
  size_t targetStart = line.find(' ') + 1;
  std::string target = line.substr(targetStart, line.rfind(' ') - targetStart);
  HttpRoute route{404, {}, "not found"};
  {
    std::lock_guard<std::mutex> lock(mutex_);
    request_lines_.push_back(line);
    for (size_t at = request.find("\r\nUser-Agent: "); at != std::string::npos;
         at = request.find("\r\nUser-Agent: ", at + 2)) {
      user_agents_.push_back(request.substr(at + 14, request.find("\r\n", at + 2) - at - 14));
    }
    auto found = routes_.find(target.substr(0, target.find('?')));
    if (found != routes_.end()) route = found->second;
  }
  // Clients take no notice of the reason phrase.
  std::string response = "HTTP/1.1 " + std::to_string(route.status) +
                         (route.status == 200 ? " OK" : " Other") + "\r\n";
  for (const auto& [name, value] : route.headers) response += name + ": " + value + "\r\n";
  if (route.announce_length) {
    response += "Content-Length: " + std::to_string(route.body.size()) + "\r\n";
  }
  response += "Connection: close\r\n\r\n";
  if (line.compare(0, 5, "HEAD ") != 0) response += route.body;
  for (size_t sent = 0; sent < response.size();) {
    ssize_t n = send(client, response.data() + sent, response.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) break;  // the client went away
    sent += static_cast<size_t>(n);
  }
  shutdown(client, SHUT_WR);
}

}  // namespace kinolot_test
