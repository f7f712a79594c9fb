// The access log; see access_log.h.
#include "access_log.h"

#include <unistd.h>

#include <ctime>

namespace kinolot_serve {

namespace {

std::string Escaped(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (unsigned char c : text) {
    if (c < 0x20 || c == 0x7F || c == '"' || c == '\\') {
      char hex[5];
      std::snprintf(hex, sizeof(hex), "\\x%02X", c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

}  // namespace

std::string AccessLogLine(const HttpRequest& request, const HttpResponse& response,
                          const std::string& user, double milliseconds) {
  char when[32];
  std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::strftime(when, sizeof(when), "%Y-%m-%dT%H:%M:%SZ", &utc);
  char tail[96];
  std::snprintf(tail, sizeof(tail), "\" %d %zu %.1fms", response.status, response.body.size(),
                milliseconds);
  return std::string(when) + " " + Escaped(request.remote_address) +
         " user=" + (user.empty() ? "-" : Escaped(user)) + " \"" + Escaped(request.method) + " " +
         Escaped(request.target) + " " + Escaped(request.version) + tail;
}

void WriteLogLine(FILE* stream, const std::string& line) {
  std::string whole = line + "\n";
  // One write(2) per line: the stream's own buffer could split a long line
  // between two writes, letting another thread's line in between.
  std::fflush(stream);
  const char* data = whole.data();
  size_t left = whole.size();
  while (left > 0) {
    ssize_t written = ::write(fileno(stream), data, left);
    if (written <= 0) break;
    data += written;
    left -= static_cast<size_t>(written);
  }
}

}  // namespace kinolot_serve
