// Bounded copies of fixed-capacity text fields; see field_text.h.
#include "foundation/field_text.h"

#include <cstring>

namespace LibKinolot {
namespace {

// The length of `text` read no further than `limit` bytes, shortened so
// that it ends after a whole UTF-8 letter: a lead byte whose continuation
// bytes lie beyond the cut goes too. Only bytes before the cut are read, so a
// field filled to its last byte without terminator is never overrun.
size_t LetterCut(const char* text, size_t limit) {
  size_t length = strnlen(text, limit);
  size_t start = length;
  while (start > 0 && length - start < 4 &&
         (static_cast<unsigned char>(text[start - 1]) & 0xC0) == 0x80) {
    --start;
  }
  if (start == 0) return length;
  unsigned char lead = static_cast<unsigned char>(text[start - 1]);
  size_t need = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
  return length - (start - 1) < need ? start - 1 : length;
}

}  // namespace

void CopyText(char* out, size_t capacity, const char* text) {
  if (out == nullptr || capacity == 0) return;
  size_t length = text == nullptr ? 0 : LetterCut(text, capacity - 1);
  if (length > 0) memmove(out, text, length);
  out[length] = '\0';
}

std::string FieldText(const char* field, size_t capacity) {
  if (field == nullptr || capacity == 0) return std::string();
  return std::string(field, LetterCut(field, capacity - 1));
}

void TerminateField(char* field, size_t capacity) {
  if (capacity == 0 || strnlen(field, capacity) < capacity) return;
  field[LetterCut(field, capacity - 1)] = '\0';
}

}  // namespace LibKinolot
