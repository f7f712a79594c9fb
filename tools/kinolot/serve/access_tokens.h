// The bearer tokens of `kinolot serve` and the users they name.
//
// A token file holds one token per line, followed by the decimal id of the
// user whose collections its requests act on: "TOKEN USER-ID". Blank lines
// and lines starting with "#" are skipped. A token is 16 to 256 characters of
// letters, digits and "-._~+/="; each token appears once.
#ifndef KINOLOT_TOOLS_SERVE_ACCESS_TOKENS_H_
#define KINOLOT_TOOLS_SERVE_ACCESS_TOKENS_H_

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace kinolot_serve {

// Copies share one set of tokens: what Load, Reload or Add changes through
// one copy, every other sees at once. Safe from several threads: a reload
// swaps the whole set while requests authenticate against either the old or
// the new one, never against half of it.
class AccessTokens {
 public:
  AccessTokens() : shared_(std::make_shared<Shared>()) {}
  AccessTokens(const AccessTokens&) = default;
  AccessTokens& operator=(const AccessTokens&) = default;

  // Reads the token file at `path`. Returns false with `error` naming the
  // file and line on a missing file, a malformed line or a file without
  // tokens; the set is then empty.
  bool Load(const std::string& path, std::string& error);
  // Reads the file of the last Load again. On success the new tokens replace
  // the old ones; on failure (as for Load, or when nothing was loaded yet)
  // returns false with `error` and the old tokens stay in force.
  bool Reload(std::string& error);
  // Adds one token for `user`; for callers that build the set themselves.
  void Add(const std::string& token, const std::string& user);
  bool empty() const { return Current()->empty(); }
  // Sets `user` to the user that the "Authorization" header value `header`
  // ("Bearer TOKEN") names. Every stored token is compared in full, so the
  // time taken tells nothing about how close a guess came.
  bool Authenticate(const std::string& header, std::string& user) const;

 private:
  using Set = std::map<std::string, std::string>;
  struct Shared {
    std::mutex mutex;  // guards both members; held only to copy or swap them
    std::shared_ptr<const Set> tokens = std::make_shared<const Set>();
    std::string path;
  };
  std::shared_ptr<const Set> Current() const;
  void Replace(std::shared_ptr<const Set> tokens, const std::string* path);

  std::shared_ptr<Shared> shared_;
};

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_ACCESS_TOKENS_H_
