// The bearer tokens of `kinolot serve` and the users they name.
//
// A token file holds one token per line, followed by the decimal id of the
// user whose collections its requests act on: "TOKEN USER-ID". Blank lines
// and lines starting with "#" are skipped. A token is 16 to 256 characters of
// letters, digits and "-._~+/="; each token appears once.
#ifndef KINOLOT_TOOLS_SERVE_ACCESS_TOKENS_H_
#define KINOLOT_TOOLS_SERVE_ACCESS_TOKENS_H_

#include <map>
#include <string>

namespace kinolot_serve {

class AccessTokens {
 public:
  // Reads the token file at `path`. Returns false with `error` naming the
  // file and line on a missing file, a malformed line or a file without
  // tokens; the set is then empty.
  bool Load(const std::string& path, std::string& error);
  // Adds one token for `user`; for callers that build the set themselves.
  void Add(const std::string& token, const std::string& user) { tokens_[token] = user; }
  bool empty() const { return tokens_.empty(); }
  // Sets `user` to the user that the "Authorization" header value `header`
  // ("Bearer TOKEN") names. Every stored token is compared in full, so the
  // time taken tells nothing about how close a guess came.
  bool Authenticate(const std::string& header, std::string& user) const;

 private:
  std::map<std::string, std::string> tokens_;
};

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_ACCESS_TOKENS_H_
