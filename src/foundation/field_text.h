// Bounded copies into and out of fixed-capacity text fields, the records'
// NUL-terminated UTF-8 texts. A copy never writes past a field, never reads a
// field past its capacity (callers may fill one to the last byte without a
// terminator) and never cuts a multi-byte letter in half.
#ifndef KINOLOT_FOUNDATION_FIELD_TEXT_H_
#define KINOLOT_FOUNDATION_FIELD_TEXT_H_

#include <cstddef>
#include <string>

namespace LibKinolot {

// Copies `text` into `out` of `capacity` bytes, cut at a letter boundary so
// that at most capacity - 1 bytes and never half a UTF-8 letter remain. No
// more than capacity - 1 bytes of `text` are read, so it may be a field
// filled to the last byte without terminator. A null `text` gives "".
void CopyText(char* out, size_t capacity, const char* text);

template <size_t N>
void CopyText(char (&out)[N], const char* text) {
  CopyText(out, N, text);
}

// The text of a field of `capacity` bytes, read no further than
// capacity - 1 bytes even when the caller left it unterminated, and cut at a
// letter boundary.
std::string FieldText(const char* field, size_t capacity);

template <size_t N>
std::string FieldText(const char (&field)[N]) {
  return FieldText(field, N);
}

// Ends a text field that a caller filled to the last byte (as strncpy with
// the capacity leaves it) within its capacity, at a letter boundary.
void TerminateField(char* field, size_t capacity);

template <size_t N>
void TerminateField(char (&field)[N]) {
  TerminateField(field, N);
}

}  // namespace LibKinolot

#endif  // KINOLOT_FOUNDATION_FIELD_TEXT_H_
