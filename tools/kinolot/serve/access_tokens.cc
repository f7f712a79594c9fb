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

// Reads the token file at `path` into `tokens`; false with `error` as Load
// describes.
bool ReadTokenFile(const std::string& path, std::map<std::string, std::string>& tokens,
                   std::string& error) {
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
    if (!valid || tokens.count(token) != 0) {
      error = path + ":" + std::to_string(number) +
              ": expected \"TOKEN USER-ID\" with a new token of 16 to 256 characters";
      return false;
    }
    tokens[token] = user;
  }
  if (tokens.empty()) error = "the token file " + path + " holds no token";
  return !tokens.empty();
}

}  // namespace

std::shared_ptr<const AccessTokens::Set> AccessTokens::Current() const {
  std::lock_guard<std::mutex> lock(shared_->mutex);
  return shared_->tokens;
}

void AccessTokens::Replace(std::shared_ptr<const Set> tokens, const std::string* path) {
  std::lock_guard<std::mutex> lock(shared_->mutex);
  shared_->tokens = std::move(tokens);
  if (path != nullptr) shared_->path = *path;
}

bool AccessTokens::Load(const std::string& path, std::string& error) {
  auto tokens = std::make_shared<Set>();
  bool loaded = ReadTokenFile(path, *tokens, error);
  if (!loaded) tokens->clear();
  Replace(std::move(tokens), &path);
  return loaded;
}

bool AccessTokens::Reload(std::string& error) {
  std::string path;
  {
    std::lock_guard<std::mutex> lock(shared_->mutex);
    path = shared_->path;
  }
  if (path.empty()) {
    error = "no token file was loaded";
    return false;
  }
  auto tokens = std::make_shared<Set>();
  if (!ReadTokenFile(path, *tokens, error)) return false;
  Replace(std::move(tokens), nullptr);
  return true;
}

void AccessTokens::Add(const std::string& token, const std::string& user) {
  std::lock_guard<std::mutex> lock(shared_->mutex);
  auto tokens = std::make_shared<Set>(*shared_->tokens);
  (*tokens)[token] = user;
  shared_->tokens = std::move(tokens);
}

bool AccessTokens::Authenticate(const std::string& header, std::string& user) const {
  if (header.compare(0, 7, "Bearer ") != 0) return false;
  const std::string given = header.substr(7);
  // The set in force when the request came; a reload meanwhile replaces it
  // for later requests without changing this one's.
  const std::shared_ptr<const Set> tokens = Current();
  bool found = false;
  for (const auto& entry : *tokens) {
    if (SameText(entry.first, given) && !found) {
      user = entry.second;
      found = true;
    }
  }
  return found;
}

}  // namespace kinolot_serve
