// HTTP requests and answers of `kinolot serve`; see http_message.h.
#include "http_message.h"

#include <strings.h>

namespace kinolot_serve {

namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes %XX escapes, and "+" as a space in a query. False for a "%" not
// followed by two hex digits.
bool Decode(const std::string& text, bool plusIsSpace, std::string& out) {
  out.clear();
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      int high = i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
      int low = i + 2 < text.size() ? HexValue(text[i + 2]) : -1;
      if (high < 0 || low < 0) return false;
      out += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      out += plusIsSpace && text[i] == '+' ? ' ' : text[i];
    }
  }
  return true;
}

}  // namespace

bool CaselessLess::operator()(const std::string& a, const std::string& b) const {
  return strcasecmp(a.c_str(), b.c_str()) < 0;
}

std::string HttpRequest::Header(const char* name) const {
  auto found = headers.find(name);
  return found == headers.end() ? "" : found->second;
}

std::string HttpRequest::Param(const char* name) const {
  auto found = params.find(name);
  return found == params.end() ? "" : found->second;
}

void HttpResponse::SetHeader(const std::string& name, const std::string& value) {
  headers.erase(name);
  headers.emplace(name, value);
}

void HttpResponse::SetContent(std::string content, const char* type) {
  body = std::move(content);
  SetHeader("Content-Type", type);
}

bool ParseTarget(const std::string& target, HttpRequest& request) {
  if (target.empty() || target[0] != '/') return false;
  const size_t question = target.find('?');
  if (!Decode(target.substr(0, question), false, request.path)) return false;
  request.params.clear();
  if (question == std::string::npos) return true;
  const std::string query = target.substr(question + 1);
  size_t start = 0;
  while (start <= query.size()) {
    size_t end = std::min(query.find('&', start), query.size());
    const std::string pair = query.substr(start, end - start);
    if (!pair.empty()) {
      const size_t equals = pair.find('=');
      std::string name, value;
      if (!Decode(pair.substr(0, equals), true, name)) return false;
      if (equals != std::string::npos && !Decode(pair.substr(equals + 1), true, value))
        return false;
      request.params.emplace(std::move(name), std::move(value));
    }
    start = end + 1;
  }
  return true;
}

bool IsUtf8(const std::string& text) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const size_t n = text.size();
  for (size_t i = 0; i < n;) {
    const unsigned char c = s[i];
    if (c < 0x80) {
      ++i;
      continue;
    }
    size_t length = 0;
    unsigned min = 0, code = 0;
    if ((c & 0xE0) == 0xC0) {
      length = 2, min = 0x80, code = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      length = 3, min = 0x800, code = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      length = 4, min = 0x10000, code = c & 0x07;
    } else {
      return false;
    }
    if (i + length > n) return false;
    for (size_t k = 1; k < length; ++k) {
      if ((s[i + k] & 0xC0) != 0x80) return false;
      code = (code << 6) | (s[i + k] & 0x3F);
    }
    if (code < min || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

}  // namespace kinolot_serve
