// The access log of `kinolot serve`: one line per request, written to a
// stream (stderr) in a single write so that lines of concurrent requests
// never interleave:
//
//   2024-05-01T18:02:03Z 127.0.0.1 user=1024 "GET /api/movie?limit=50 HTTP/1.1" 200 5120 3.2ms
//
// The user is "-" when the request named none, as for requests refused
// before the access check (malformed, too large, too many connections). Bytes of the request line
// that could forge a line or a field (controls, quotes, backslashes) are
// written as \xHH.
#ifndef KINOLOT_TOOLS_SERVE_ACCESS_LOG_H_
#define KINOLOT_TOOLS_SERVE_ACCESS_LOG_H_

#include <cstdio>
#include <string>

#include "http_message.h"

namespace kinolot_serve {

std::string AccessLogLine(const HttpRequest& request, const HttpResponse& response,
                          const std::string& user, double milliseconds);

// Writes `line` and a newline to `stream` at once.
void WriteLogLine(FILE* stream, const std::string& line);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_ACCESS_LOG_H_
