// Reading a title and year out of a name; see title_reader.h.
#include "title_reader.h"

#include <algorithm>

#include "release_words.h"

namespace kinolot_scan {
namespace {

bool IsSeparator(char c) {
  return c == ' ' || c == '.' || c == '_' || c == '-' || c == ',' || c == ':';
}

// "(US)", "(UK)": a country that tells two shows of one name apart stays.
bool IsCountry(const NameToken& token) {
  static const char* const kCountries[] = {"US", "UK", "AU", "CA", "NZ", "IE"};
  for (const char* country : kCountries) {
    if (token.bracket == '(' && token.text == country) return true;
  }
  return false;
}

int YearOfToken(const NameToken& token) {
  if (token.bracket == '{') return 0;
  return YearOfWord(token.bracket ? TrimSeparators(token.text) : token.text);
}

WordKind KindOfToken(const std::vector<NameToken>& tokens, size_t i) {
  return i < tokens.size() && !tokens[i].bracket ? KindOfWord(tokens[i].lower) : WordKind::kPlain;
}

// Whether the title is over at token `i`. The rules, in this order: a
// bracketed group (other than a country) ends it, "aka" ends it, a release
// tag ends it, a weak or English tag ends it where another tag follows, a
// weak tag also where a year or a group follows, and an edition phrase
// ("Director's Cut") ends it at its first word.
bool EndsTitle(const std::vector<NameToken>& tokens, size_t i) {
  const NameToken& token = tokens[i];
  if (token.bracket) return !IsCountry(token);
  // "Title aka Other Title": the alternate title is not the title.
  if (token.lower == "aka" && i + 1 < tokens.size()) return true;
  WordKind kind = KindOfWord(token.lower);
  if (kind == WordKind::kTag) return true;
  bool next = i + 1 < tokens.size();
  if (kind != WordKind::kPlain && next) {
    const NameToken& after = tokens[i + 1];
    if (KindOfToken(tokens, i + 1) != WordKind::kPlain) return true;
    if (kind == WordKind::kWeakTag &&
        ((after.bracket && !IsCountry(after)) || YearOfToken(after))) {
      return true;
    }
  }
  return next && OpensEdition(token.lower) && !tokens[i + 1].bracket &&
         IsEditionNoun(tokens[i + 1].lower);
}

// Where the year stands, in this order of preference: in brackets after the
// first word; alone inside the title, the last one ("2001 A Space Odyssey
// 1968"); alone among the tags or behind the alternate title right after the
// title ("Title EXTENDED 2016", "Title aka Other 2016").
size_t FindYear(const std::vector<NameToken>& tokens, size_t first, size_t end, int* year) {
  for (size_t i = first; i < tokens.size(); ++i) {
    if (tokens[i].bracket && (*year = YearOfToken(tokens[i])) != 0) return i;
  }
  for (size_t i = end; i-- > first;) {
    if ((*year = YearOfToken(tokens[i])) != 0) return i;
  }
  // Behind "aka" stands an alternate title, then the year.
  bool alternate = end < tokens.size() && tokens[end].lower == "aka";
  for (size_t i = end; i < tokens.size(); ++i) {
    if ((*year = YearOfToken(tokens[i])) != 0) return i;
    if (alternate) continue;
    bool edition = OpensEdition(tokens[i].lower) || IsEditionNoun(tokens[i].lower);
    if (!tokens[i].bracket && !edition && KindOfToken(tokens, i) == WordKind::kPlain) break;
  }
  *year = 0;
  return tokens.size();
}

}  // namespace

std::string TrimSeparators(const std::string& text) {
  size_t begin = 0, end = text.size();
  while (begin < end && IsSeparator(text[begin])) ++begin;
  while (end > begin && IsSeparator(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

std::string JoinTitle(const std::vector<NameToken>& tokens, size_t begin, size_t end) {
  std::string title;
  for (size_t i = begin; i < end; ++i) {
    if (!title.empty()) title += ' ';
    title += tokens[i].bracket ? "(" + tokens[i].text + ")" : tokens[i].text;
  }
  title = TrimSeparators(title);
  if (end > begin && tokens[end - 1].acronym && !title.empty() && title.back() != '.') title += '.';
  return title;
}

std::string ReadTitle(const std::string& name, int* year, bool keep_first) {
  std::vector<NameToken> tokens = TokenizeName(name);
  size_t start = 0;
  while (start < tokens.size() && ((tokens[start].bracket && !YearOfToken(tokens[start])) ||
                                   TrimSeparators(tokens[start].text).empty())) {
    ++start;
  }
  size_t first = std::min(tokens.size(), start + (keep_first ? 1 : 0));
  size_t end = tokens.size();
  for (size_t i = first; i < tokens.size(); ++i) {
    if (EndsTitle(tokens, i)) {
      end = i;
      break;
    }
  }
  size_t year_at = FindYear(tokens, first, end, year);
  return JoinTitle(tokens, start, std::min(end, year_at));
}

}  // namespace kinolot_scan
