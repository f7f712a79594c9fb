// One HTTP request as the routes read it and the answer they write, apart
// from how either travels: the listener fills an HttpRequest from the bytes
// it read and sends the HttpResponse a route wrote.
#ifndef KINOLOT_TOOLS_SERVE_HTTP_MESSAGE_H_
#define KINOLOT_TOOLS_SERVE_HTTP_MESSAGE_H_

#include <map>
#include <regex>
#include <string>

namespace kinolot_serve {

// Orders header names without regard to case, as HTTP compares them.
struct CaselessLess {
  bool operator()(const std::string& a, const std::string& b) const;
};
using HttpHeaders = std::multimap<std::string, std::string, CaselessLess>;

struct HttpRequest {
  std::string method;   // "GET", "POST", ...
  std::string target;   // as sent: path and query
  std::string path;     // the target's path, percent-decoded
  std::string version;  // "HTTP/1.1"
  std::string remote_address;
  HttpHeaders headers;
  std::multimap<std::string, std::string> params;  // the decoded query
  std::string body;
  // The groups of the route pattern the path matched; they point into
  // `path`, so a request is never copied once matched.
  std::smatch matches;
  // The user the request acts for once the access check let it through;
  // empty before, and for requests refused before it.
  std::string user;

  // The first value of header `name`, "" when absent.
  std::string Header(const char* name) const;
  bool HasParam(const char* name) const { return params.count(name) != 0; }
  // The first value of query parameter `name`, "" when absent.
  std::string Param(const char* name) const;
};

struct HttpResponse {
  int status = 200;
  HttpHeaders headers;
  std::string body;

  // Replaces any value of header `name`.
  void SetHeader(const std::string& name, const std::string& value);
  void SetContent(std::string content, const char* type);
};

// Splits `target` into the decoded path and query parameters of `request`.
// Returns false for a target that is not an origin path ("/...") or holds a
// malformed percent escape.
bool ParseTarget(const std::string& target, HttpRequest& request);

// True when `text` is well-formed UTF-8 (no overlong forms, surrogates or
// code points past U+10FFFF).
bool IsUtf8(const std::string& text);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_HTTP_MESSAGE_H_
