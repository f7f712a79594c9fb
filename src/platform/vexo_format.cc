// Making values safe inside SQL text: the placeholder formatter that every
// statement with a caller's value is built with, the plain quote escaper, and
// the check that a WHERE condition handed in as text is one expression.
//
// All of it escapes for connections with standard_conforming_strings=on (which
// VEXODBConnect pins): inside '...' only the quote is special, written twice.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kinolot/platform/vexo_db.h"
#include "kinolot/platform/vlib_c.h"

namespace LibKinolot {

namespace {

// A growable malloc'd text, so that the finished text can be handed to a
// caller who releases it with free(). Once an allocation fails every further
// append is ignored and Take() yields null.
class TextBuffer {
 public:
  TextBuffer() = default;
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;
  ~TextBuffer() { std::free(data_); }

  bool failed() const { return failed_; }

  void Append(const char* text, size_t length) {
    if (!Reserve(length)) return;
    std::memcpy(data_ + size_, text, length);
    size_ += length;
    data_[size_] = '\0';
  }
  void Append(const char* text) { Append(text, std::strlen(text)); }
  void Append(char c) { Append(&c, 1); }

  // Hands the text over to the caller; null when an allocation failed.
  char* Take() {
    if (failed_ || !Reserve(0)) return nullptr;
    data_[size_] = '\0';  // also for a text that never grew
    char* text = data_;
    data_ = nullptr;
    size_ = capacity_ = 0;
    return text;
  }

 private:
  // Makes room for `more` bytes plus the terminator.
  bool Reserve(size_t more) {
    if (failed_) return false;
    size_t needed = size_ + more + 1;
    if (needed <= capacity_) return true;
    size_t capacity = capacity_ < 64 ? 64 : capacity_;
    while (capacity < needed) capacity *= 2;
    char* grown = static_cast<char*>(std::realloc(data_, capacity));
    if (grown == nullptr) {
      failed_ = true;
      return false;
    }
    data_ = grown;
    capacity_ = capacity;
    return true;
  }

  char* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
  bool failed_ = false;
};

// Appends `text` for use between single quotes: each quote doubled.
void AppendQuoted(TextBuffer* out, const char* text) {
  for (const char* p = text; *p; ++p) {
    if (*p == '\'') out->Append('\'');
    out->Append(*p);
  }
}

// Appends `text` as a LIKE pattern that matches exactly `text`: the escape
// character of LIKE (backslash) and its wildcards are prefixed with it.
void AppendLikeQuoted(TextBuffer* out, const char* text) {
  for (const char* p = text; *p; ++p) {
    if (*p == '\\' || *p == '%' || *p == '_') out->Append('\\');
    if (*p == '\'') out->Append('\'');
    out->Append(*p);
  }
}

const char kPlaceholder[] = "@VEXO:";
const size_t kPlaceholderLength = sizeof(kPlaceholder) - 1;

enum class Placeholder { kVar, kInt, kLongLong, kVerbatim, kLike, kUnknown };

// Recognises the name after "@VEXO:" and stores its length. No name is a
// prefix of another, so the first match is the only one.
Placeholder ParseName(const char* name, size_t* length) {
  static const struct {
    const char* name;
    Placeholder kind;
  } kNames[] = {{"VAR", Placeholder::kVar},
                {"INT", Placeholder::kInt},
                {"LLINT", Placeholder::kLongLong},
                {"NEVAR", Placeholder::kVerbatim},
                {"LVAR", Placeholder::kLike}};
  for (const auto& entry : kNames) {
    size_t n = std::strlen(entry.name);
    if (std::strncmp(name, entry.name, n) == 0) {
      *length = n;
      return entry.kind;
    }
  }
  *length = 0;
  return Placeholder::kUnknown;
}

char* FormatV(const char* format, va_list args) {
  TextBuffer out;
  const char* p = format;
  while (*p) {
    const char* at = std::strstr(p, kPlaceholder);
    if (at == nullptr) {
      out.Append(p);
      break;
    }
    out.Append(p, static_cast<size_t>(at - p));
    size_t name_length = 0;
    Placeholder kind = ParseName(at + kPlaceholderLength, &name_length);
    switch (kind) {
      case Placeholder::kVar:
      case Placeholder::kVerbatim:
      case Placeholder::kLike: {
        const char* text = va_arg(args, const char*);
        if (text == nullptr) {
          VLIBCErrSet(VLIBC_ERR_BAD_PARAMETER);
          return nullptr;
        }
        if (kind == Placeholder::kVar) AppendQuoted(&out, text);
        if (kind == Placeholder::kLike) AppendLikeQuoted(&out, text);
        if (kind == Placeholder::kVerbatim) out.Append(text);
        break;
      }
      case Placeholder::kInt: {
        char number[16];
        int n = std::snprintf(number, sizeof(number), "%d", va_arg(args, int));
        out.Append(number, static_cast<size_t>(n));
        break;
      }
      case Placeholder::kLongLong: {
        char number[32];
        int n = std::snprintf(number, sizeof(number), "%lld", va_arg(args, long long));
        out.Append(number, static_cast<size_t>(n));
        break;
      }
      case Placeholder::kUnknown:
        VLIBCErrSet(VLIBC_ERR_BAD_FORMAT);
        return nullptr;
    }
    p = at + kPlaceholderLength + name_length;
  }
  char* text = out.Take();
  if (text == nullptr) VLIBCErrSet(VLIBC_ERR_OUT_OF_MEMORY);
  return text;
}

// True when `condition` is one expression as far as its lexical structure
// goes: every '...' literal and "..." identifier is closed, and outside them
// there is no statement separator, no comment and no dollar quote.
bool IsSingleExpression(const char* condition) {
  const char* p = condition;
  while (*p) {
    char c = *p;
    if (c == ';' || c == '$') return false;
    if (c == '-' && p[1] == '-') return false;
    if (c == '/' && p[1] == '*') return false;
    if (c == '\'' || c == '"') {
      // An E'...' literal takes backslash escapes, a plain one does not, and
      // whether a letter E before the quote is a prefix depends on what came
      // before it. Both readings agree unless the literal holds a backslash,
      // so such a literal after an E is refused rather than guessed at.
      bool after_e = c == '\'' && p > condition && (p[-1] == 'e' || p[-1] == 'E');
      const char* q = p + 1;
      for (;;) {
        if (*q == '\0') return false;  // never closed
        if (*q == '\\' && after_e) return false;
        if (*q == c) {
          if (q[1] == c) {  // a doubled quote stands for itself
            q += 2;
            continue;
          }
          break;
        }
        ++q;
      }
      p = q + 1;
      continue;
    }
    ++p;
  }
  return true;
}

}  // namespace

char* VEXODBEscapeStringEX3(int databaseKind, const char* format, ...) {
  if (databaseKind != kVexoDBKindPostgreSQL) {
    VLIBCErrSet(VLIBC_ERR_UNSUPPORTED_DB);
    return nullptr;
  }
  if (format == nullptr) {
    VLIBCErrSet(VLIBC_ERR_BAD_PARAMETER);
    return nullptr;
  }
  va_list args;
  va_start(args, format);
  char* text = FormatV(format, args);
  va_end(args);
  return text;
}

char* VEXODBEscapeStrAlloc(const char* text) {
  if (text == nullptr) {
    VLIBCErrSet(VLIBC_ERR_BAD_PARAMETER);
    return nullptr;
  }
  TextBuffer out;
  AppendQuoted(&out, text);
  char* escaped = out.Take();
  if (escaped == nullptr) VLIBCErrSet(VLIBC_ERR_OUT_OF_MEMORY);
  return escaped;
}

int EscapeConditionEX2(int databaseKind, const char* condition, char* out) {
  if (out != nullptr) out[0] = '\0';
  if (databaseKind != kVexoDBKindPostgreSQL) {
    VLIBCErrSet(VLIBC_ERR_UNSUPPORTED_DB);
    return -1;
  }
  if (condition == nullptr || out == nullptr) {
    VLIBCErrSet(VLIBC_ERR_BAD_PARAMETER);
    return -1;
  }
  if (!IsSingleExpression(condition)) {
    VLIBCErrSet(VLIBC_ERR_BAD_PARAMETER);
    return -1;
  }
  size_t length = std::strlen(condition);
  std::memcpy(out, condition, length + 1);
  return static_cast<int>(length);
}

}  // namespace LibKinolot
