// Text helpers shared by the query builder and the metadata API.
#include "kinolot/string_helpers.h"

#include <cstring>

#include "foundation/heap_text.h"
#include "kinolot/platform/vexo_db.h"

namespace LibKinolot {

std::string szValueCheck(const char* value) {
  return value ? std::string(value) : std::string();
}

std::string SQLEscapeString(const std::string& value) {
  HeapText escaped(VEXODBEscapeStrAlloc(value.c_str()));
  return escaped ? std::string(escaped.get()) : std::string();
}

std::string StringImplode(const std::vector<std::string>& items, const char* separator) {
  std::string out;
  if (items.empty()) return out;
  const char* sep = separator ? separator : "";
  for (size_t i = 0; i + 1 < items.size(); ++i) {
    out += items[i];
    out += sep;
  }
  out += items.back();
  return out;
}

std::vector<std::string> StringExplode(const std::string& text, const std::string& delimiters) {
  std::vector<std::string> tokens;
  if (text.empty()) return tokens;
  // strtok_r writes into the text it splits, so it works on a private copy.
  HeapText copy(strdup(text.c_str()));
  if (!copy) return tokens;
  char* save = nullptr;
  for (char* token = strtok_r(copy.get(), delimiters.c_str(), &save); token != nullptr;
       token = strtok_r(nullptr, delimiters.c_str(), &save)) {
    tokens.emplace_back(token);
  }
  return tokens;
}

}  // namespace LibKinolot
