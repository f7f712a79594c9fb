// Reading one HTTP request of the /api/ routes: the video kind in the path,
// bounded query parameters, the JSON body, and the error that ends a request
// early. A route throws ApiError; the server's route wrapper turns it into a
// {"error": "..."} answer with its status, so no route writes error answers
// of its own.
#ifndef KINOLOT_TOOLS_SERVE_API_REQUEST_H_
#define KINOLOT_TOOLS_SERVE_API_REQUEST_H_

#include <json/json.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "http_message.h"
#include "kinolot/video_types.h"
#include "video_vocabulary.h"

namespace kinolot_serve {

// The longest value a query parameter or path segment may have, in bytes.
constexpr size_t kMaxParameterLength = 512;
// The largest page a listing hands out.
constexpr unsigned long kMaxPageLimit = 500;
// The page size when a request names none.
constexpr unsigned long kDefaultPageLimit = 50;

// Ends a request with `status` (400, 401, 404, 503 ...) and `message`.
class ApiError : public std::runtime_error {
 public:
  ApiError(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

// Throws 400 unless `text` is a decimal id within 32 bits (what the library's
// tables hold); returns it unchanged.
std::string RequireId(const std::string& text, const char* what);

// One request's parameters, each read with its bounds checked. Every reader
// throws ApiError(400) with a message naming the parameter on bad input.
class ApiRequest {
 public:
  ApiRequest(const HttpRequest& request, std::string user)
      : request_(request), user_(std::move(user)) {}

  const HttpRequest& http() const { return request_; }
  // The user id the request acts for (decimal text).
  const std::string& user() const { return user_; }
  // Path segment `index` of the route's pattern (1 is the first group).
  std::string Segment(size_t index) const;
  // The kind named by path segment `index`; throws 400 for an unknown kind.
  LibKinolot::_VIDEO_TABLE_TYPE_ Kind(size_t index) const;

  // Query parameter `name`, or `fallback` when absent.
  std::string Text(const char* name, const std::string& fallback = "") const;
  bool Has(const char* name) const { return request_.HasParam(name); }
  // Query parameter `name` as a decimal id; null when absent, "" when empty
  // (the library's "videos without any" filter value).
  const char* OptionalId(const char* name, std::string& storage) const;
  unsigned long Offset() const;
  // The page size, 1 to kMaxPageLimit; the library reads 0 as "no limit",
  // which a client is never given.
  unsigned long Limit() const;
  // "asc" (the default) or "desc".
  LibKinolot::_ORDER_DIRECTION_ Order() const;
  // The `sort` column, checked against the columns of `kind`'s table; ""
  // when absent.
  std::string Sort(LibKinolot::_VIDEO_TABLE_TYPE_ kind) const;
  // The `additional` list of piece names (video_vocabulary.h) as a bit set,
  // kept to the pieces of `kind` (PiecesOf).
  LibKinolot::_VIDEO_ADDITIONAL_ Additional(LibKinolot::_VIDEO_TABLE_TYPE_ kind) const;
  // The body as a JSON object; throws 400 unless the request says it sends
  // JSON and the body is an object.
  Json::Value Body() const;

 private:
  const HttpRequest& request_;
  std::string user_;
};

// A route's body: reads `request`, writes the answer into `response`, and
// throws ApiError to answer with an error instead.
using ApiHandler = std::function<void(const ApiRequest& request, HttpResponse& response)>;

// Where route units register their routes: `pattern` is a regular
// expression over the whole path, its groups becoming ApiRequest segments.
class ApiRoutes {
 public:
  virtual ~ApiRoutes() = default;
  virtual void Get(const std::string& pattern, ApiHandler handler) = 0;
  virtual void Post(const std::string& pattern, ApiHandler handler) = 0;
  virtual void Delete(const std::string& pattern, ApiHandler handler) = 0;
};

// Writes `value` as compact UTF-8 JSON into `response` with `status`.
void SendJson(HttpResponse& response, const Json::Value& value, int status = 200);
// Writes {"error": message} with `status`.
void SendError(HttpResponse& response, int status, const std::string& message);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_API_REQUEST_H_
