// Cutting names into words; see name_tokens.h.
#include "name_tokens.h"

#include "release_words.h"

namespace kinolot_scan {
namespace {

bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

NameToken Token(const std::string& text, char bracket = 0) {
  NameToken token;
  token.text = text;
  token.lower = LowerAscii(text);
  token.bracket = bracket;
  return token;
}

bool Hangs(const std::string& lower) {
  return YearOfWord(lower) != 0 || KindOfWord(lower) != WordKind::kPlain;
}

// A word, parted at its dashes when a year or a tag hangs on one of them.
void AddWord(const std::string& word, std::vector<NameToken>* tokens) {
  std::string lower = LowerAscii(word);
  std::vector<std::string> parts;
  bool part = false;
  if (KindOfWord(lower) == WordKind::kPlain && word.find('-') != std::string::npos) {
    size_t begin = 0;
    while (begin <= word.size()) {
      size_t dash = word.find('-', begin);
      if (dash == std::string::npos) dash = word.size();
      if (dash > begin) parts.push_back(word.substr(begin, dash - begin));
      part = part || (dash > begin && Hangs(LowerAscii(parts.back())));
      begin = dash + 1;
    }
  }
  if (!part) {
    tokens->push_back(Token(word));
    return;
  }
  for (const std::string& piece : parts) tokens->push_back(Token(piece));
}

// The length of a dotted acronym ("S.W.A.T.", "E.T.") of two letters or more
// at `at`, or 0. Its letters each stand alone between dots.
size_t AcronymAt(const std::string& name, size_t at, std::string* acronym) {
  size_t i = at, letters = 0;
  acronym->clear();
  while (i < name.size() && IsLetter(name[i])) {
    bool dotted = i + 1 < name.size() && name[i + 1] == '.';
    bool last = i + 1 == name.size() || name[i + 1] == ' ' || name[i + 1] == '_';
    if (!dotted && !(last && letters > 0)) break;
    *acronym += name[i];
    *acronym += '.';
    ++letters;
    i += dotted ? 2 : 1;
    if (!dotted) break;
  }
  return letters >= 2 ? i - at : 0;
}

// "H.264" and "x.265" written with a dot come apart into two words.
void JoinCodecs(std::vector<NameToken>* tokens) {
  for (size_t i = 0; i + 1 < tokens->size(); ++i) {
    NameToken& first = (*tokens)[i];
    const std::string& second = (*tokens)[i + 1].text;
    bool codec = second.compare(0, 3, "264") == 0 || second.compare(0, 3, "265") == 0;
    if ((first.lower == "h" || first.lower == "x") && codec && !first.bracket &&
        (second.size() == 3 || second[3] == '-')) {
      first = Token(first.text + second);
      tokens->erase(tokens->begin() + static_cast<long>(i) + 1);
    }
  }
}

}  // namespace

std::vector<NameToken> TokenizeName(const std::string& name) {
  std::vector<NameToken> tokens;
  bool blanks = name.find(' ') != std::string::npos;
  std::string word, acronym;
  auto flush = [&] {
    if (!word.empty()) AddWord(word, &tokens);
    word.clear();
  };
  for (size_t i = 0; i < name.size();) {
    char c = name[i];
    if (c == '(' || c == '[' || c == '{') {
      flush();
      size_t close = name.find(c == '(' ? ')' : c == '[' ? ']' : '}', i + 1);
      // An unclosed bracket is a blank.
      if (close != std::string::npos) tokens.push_back(Token(name.substr(i + 1, close - i - 1), c));
      i = close == std::string::npos ? i + 1 : close + 1;
      continue;
    }
    size_t length = word.empty() ? AcronymAt(name, i, &acronym) : 0;
    if (length > 0) {
      tokens.push_back(Token(acronym));
      tokens.back().acronym = true;
      i += length;
      continue;
    }
    // A dot before a blank ends an abbreviation ("Mr. Robot") and stays.
    bool dot_parts = c == '.' && (!blanks || (i + 1 < name.size() && name[i + 1] != ' '));
    if (c == ' ' || c == '_' || c == ')' || c == ']' || c == '}' || dot_parts) {
      flush();
    } else {
      word += c;
    }
    ++i;
  }
  flush();
  JoinCodecs(&tokens);
  return tokens;
}

}  // namespace kinolot_scan
