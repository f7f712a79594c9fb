// Fuzzes the placeholder formatter and the escapers that every caller's
// value passes on its way into SQL. The input's first byte picks a mode; the
// rest is split at NUL bytes into texts.
//
// Mode 0 formats a fixed statement with the texts as values and reads the
// result back the way the server lexes it (standard_conforming_strings on):
// each quoted literal must give back its value exactly, the LIKE pattern
// must match exactly its value and the fixed parts must be untouched, or a
// value could have become SQL. Mode 1 uses the first text as the template
// itself, with as many values of the right types as its placeholders take.
// Both also run the quote escaper and the condition check on every text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_database.h"
#include "kinolot/platform/vexo_db.h"
#include "kinolot/string_helpers.h"

using namespace LibKinolot;
using kinolot_fuzz::Check;

namespace {

// Reads the quoted literal that starts at `*at` (on its opening quote) and
// returns its value: a doubled quote stands for one, nothing else is special.
bool ReadLiteral(const std::string& sql, size_t* at, std::string* value) {
  if (*at >= sql.size() || sql[*at] != '\'') return false;
  value->clear();
  for (size_t i = *at + 1; i < sql.size(); ++i) {
    if (sql[i] != '\'') {
      value->push_back(sql[i]);
    } else if (i + 1 < sql.size() && sql[i + 1] == '\'') {
      value->push_back('\'');
      ++i;
    } else {
      *at = i + 1;
      return true;
    }
  }
  return false;
}

bool Expect(const std::string& sql, size_t* at, const std::string& text) {
  if (sql.compare(*at, text.size(), text) != 0) return false;
  *at += text.size();
  return true;
}

// The text that the LIKE pattern `pattern` (escape character backslash)
// matches when its only wildcard is a final '%'; false when it has another
// wildcard, which would match more than the caller's value.
bool LikePrefix(const std::string& pattern, std::string* prefix) {
  prefix->clear();
  for (size_t i = 0; i < pattern.size(); ++i) {
    char c = pattern[i];
    if (c == '\\') {
      if (++i == pattern.size()) return false;
      prefix->push_back(pattern[i]);
    } else if (c == '%' && i + 1 == pattern.size()) {
      return true;
    } else if (c == '%' || c == '_') {
      return false;
    } else {
      prefix->push_back(c);
    }
  }
  return false;  // the final '%' is missing
}

void CheckEscapers(const std::string& text) {
  char* escaped = VEXODBEscapeStrAlloc(text.c_str());
  Check(escaped != nullptr, "quote escaper failed");
  std::string literal = "'" + std::string(escaped) + "'";
  free(escaped);
  size_t at = 0;
  std::string value;
  Check(ReadLiteral(literal, &at, &value) && at == literal.size() && value == text,
        "quote escaper does not round-trip");
  Check(SQLEscapeString(text) == literal.substr(1, literal.size() - 2),
        "SQLEscapeString differs from the platform escaper");

  std::vector<char> out(2 * text.size() + 1);
  int length = EscapeConditionEX2(kVexoDBKindPostgreSQL, text.c_str(), out.data());
  Check(length < 0 || (static_cast<size_t>(length) == text.size() && text == out.data()),
        "an accepted condition was changed");
}

void FixedStatement(const std::vector<std::string>& texts, int number, long long big) {
  const std::string& a = texts[0];
  const std::string& b = texts[1];
  char* sql = VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL,
                                    "a = '@VEXO:VAR' AND b like '@VEXO:LVAR%' AND c = @VEXO:INT "
                                    "AND d = @VEXO:LLINT AND e = @VEXO:NEVAR",
                                    a.c_str(), b.c_str(), number, big, "NULL");
  Check(sql != nullptr, "formatter failed on a well-formed template");
  std::string text = sql;
  free(sql);
  size_t at = 0;
  std::string value, pattern, prefix;
  Check(Expect(text, &at, "a = ") && ReadLiteral(text, &at, &value) && value == a,
        "VAR value escaped its literal");
  Check(Expect(text, &at, " AND b like ") && ReadLiteral(text, &at, &pattern) &&
            LikePrefix(pattern, &prefix) && prefix == b,
        "LVAR value escaped its pattern");
  Check(text.substr(at) == " AND c = " + std::to_string(number) +
                               " AND d = " + std::to_string(big) + " AND e = NULL",
        "fixed parts changed");
}

enum class Arg { kText, kInt, kLongLong };

// The arguments that `format` takes, in order, as far as placeholders go;
// false for more than four (the calls below pass at most four).
bool ArgumentsOf(const char* format, std::vector<Arg>* args) {
  for (const char* at = strstr(format, "@VEXO:"); at != nullptr; at = strstr(at, "@VEXO:")) {
    at += 6;
    if (strncmp(at, "LLINT", 5) == 0) {
      args->push_back(Arg::kLongLong);
    } else if (strncmp(at, "INT", 3) == 0) {
      args->push_back(Arg::kInt);
    } else if (strncmp(at, "VAR", 3) == 0 || strncmp(at, "NEVAR", 5) == 0 ||
               strncmp(at, "LVAR", 4) == 0) {
      args->push_back(Arg::kText);
    } else {
      break;  // the formatter stops at an unknown name
    }
  }
  return args->size() <= 4;
}

// Calls the formatter with one value of the right type per placeholder.
template <typename... Values>
char* Format(const char* format, const std::vector<Arg>& args, const char* text, Values... values) {
  constexpr size_t kGiven = sizeof...(Values);
  if constexpr (kGiven >= 4) {
    return VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, values...);
  } else {
    if (args.size() == kGiven)
      return VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, values...);
    switch (args[kGiven]) {
      case Arg::kText:
        return Format(format, args, text, values..., text);
      case Arg::kInt:
        return Format(format, args, text, values..., -2147483647 - 1);
      default:
        return Format(format, args, text, values..., -9223372036854775807LL - 1);
    }
  }
}

void FuzzedTemplate(const std::vector<std::string>& texts) {
  const char* format = texts[0].c_str();
  std::vector<Arg> args;
  if (!ArgumentsOf(format, &args)) return;
  char* sql = Format(format, args, texts[1].c_str());
  if (strstr(format, "@VEXO:") == nullptr) {
    Check(sql != nullptr && texts[0] == sql, "a template without placeholders was changed");
  }
  free(sql);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  int mode = data[0] % 2;
  std::vector<std::string> texts;
  std::string current;
  for (size_t i = 1; i < size; ++i) {
    if (data[i] == 0) {
      texts.push_back(current);
      current.clear();
    } else {
      current.push_back(static_cast<char>(data[i]));
    }
  }
  texts.push_back(current);
  while (texts.size() < 2) texts.emplace_back();
  for (const std::string& text : texts) CheckEscapers(text);
  if (mode == 0) {
    int number = size >= 5 ? static_cast<int>(data[1] | data[2] << 8 | data[3] << 16 |
                                              static_cast<uint32_t>(data[4]) << 24)
                           : 0;
    // A 64-bit value whose halves are both `number`, built without overflow.
    uint64_t halves = static_cast<uint64_t>(static_cast<uint32_t>(number)) * 0x100000001ULL;
    FixedStatement(texts, number, static_cast<long long>(halves));
  } else {
    FuzzedTemplate(texts);
  }
  return 0;
}
