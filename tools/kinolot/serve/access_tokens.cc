// Bearer tokens of `kinolot serve`; see access_tokens.h.
#include "access_tokens.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

namespace kinolot_serve {

namespace {

bool IsTokenChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::strchr("-._~+/=", c) != nullptr;
}

bool IsUserId(const std::string& text) {
  return !text.empty() && text.size() <= 9 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Compares without stopping at the first difference.
bool SameText(const std::string& a, const std::string& b) {
  unsigned char difference = a.size() == b.size() ? 0 : 1;
  for (size_t i = 0; i < a.size(); ++i)
    difference |= static_cast<unsigned char>(a[i] ^ (i < b.size() ? b[i] : 0));
  return difference == 0;
}

}  // namespace

bool AccessTokens::Load(const std::string& path, std::string& error) {
  tokens_.clear();
  std::ifstream in(path);
  if (!in) {
    error = "cannot read the token file " + path;
    return false;
  }
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    std::istringstream fields(line);
    std::string token, user, extra;
    if (!(fields >> token) || token[0] == '#') continue;
    const bool valid = (fields >> user) && !(fields >> extra) && token.size() >= 16 &&
                       token.size() <= 256 &&
                       std::all_of(token.begin(), token.end(), IsTokenChar) && IsUserId(user);
    if (!valid || tokens_.count(token) != 0) {
      error = path + ":" + std::to_string(number) +
              ": expected \"TOKEN USER-ID\" with a new token of 16 to 256 characters";
      tokens_.clear();
      return false;
    }
    tokens_[token] = user;
  }
  if (tokens_.empty()) error = "the token file " + path + " holds no token";
  return !tokens_.empty();
}

bool AccessTokens::Authenticate(const std::string& header, std::string& user) const {
  if (header.compare(0, 7, "Bearer ") != 0) return false;
  const std::string given = header.substr(7);
  bool found = false;
  for (const auto& entry : tokens_) {
    if (SameText(entry.first, given) && !found) {
      user = entry.second;
      found = true;
    }
  }
  return found;
}

}  // namespace kinolot_serve
