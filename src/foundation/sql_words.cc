// Checks on texts that stand unquoted in SQL.
#include "foundation/sql_words.h"

namespace LibKinolot {

bool IsPlainSqlName(const std::string& text) {
  if (text.empty()) return false;
  for (char c : text) {
    bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                 c == '_' || c == '.';
    if (!plain) return false;
  }
  return true;
}

bool IsSqlLiteral(const std::string& text) {
  if (text.empty()) return false;
  if (text[0] != '\'') {
    for (char c : text) {
      if (c < '0' || c > '9') return false;
    }
    return true;
  }
  if (text.size() < 2 || text.back() != '\'') return false;
  // Inside the outer quotes a quote must come in pairs; a lone one would end
  // the literal early and leave the rest of the text as SQL.
  for (size_t i = 1; i + 1 < text.size(); ++i) {
    if (text[i] != '\'') continue;
    if (i + 2 >= text.size() || text[i + 1] != '\'') return false;
    ++i;
  }
  return true;
}

bool IsNameListTable(const std::string& table) {
  return table == "actor" || table == "director" || table == "writer" || table == "gnere";
}

}  // namespace LibKinolot
