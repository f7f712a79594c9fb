// A file or folder name cut into the words and bracketed groups it is made
// of, the way release and library names separate them: blanks, dots (in
// names without blanks, or before a letter) and underscores part words;
// "(...)", "[...]" and "{...}" are groups of their own; dotted acronyms
// ("S.W.A.T.") stay one word; a dash parts a word only where a year or a
// release tag hangs on it ("Title-2014-French-1080p", not "Spider-Man").
#ifndef KINOLOT_TOOLS_SCAN_NAME_TOKENS_H_
#define KINOLOT_TOOLS_SCAN_NAME_TOKENS_H_

#include <string>
#include <vector>

namespace kinolot_scan {

struct NameToken {
  std::string text;   // a word as written, or a group's inner text
  std::string lower;  // `text` in lower case
  char bracket = 0;   // '(', '[' or '{' for a group; 0 for a word
  bool acronym = false;
};

// The tokens of `name`, in order. Never fails; an empty name has none.
std::vector<NameToken> TokenizeName(const std::string& name);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_NAME_TOKENS_H_
