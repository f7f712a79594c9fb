// Sorting date texts into none, valid and bad; see date_text.h.
#include "foundation/date_text.h"

#include <cstring>

namespace LibKinolot {
namespace {

// The longest date text whose quoted form fits a 32-byte field.
constexpr size_t kMaxDateLength = 29;

// Reads `minDigits` to `maxDigits` decimal digits at `*at` into `*value`.
bool ReadNumber(const char* text, size_t* at, size_t minDigits, size_t maxDigits, long* value) {
  size_t digits = 0;
  *value = 0;
  while (digits < maxDigits && text[*at] >= '0' && text[*at] <= '9') {
    *value = *value * 10 + (text[*at] - '0');
    ++*at;
    ++digits;
  }
  return digits >= minDigits;
}

bool Expect(const char* text, size_t* at, char c) {
  if (text[*at] != c) return false;
  ++*at;
  return true;
}

int DaysInMonth(long year, long month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// H:MM[:SS[.f]] at `*at`, within the bounds of a day.
bool ReadTimeOfDay(const char* text, size_t* at) {
  long hour, minute, second = 0, fraction;
  if (!ReadNumber(text, at, 1, 2, &hour) || !Expect(text, at, ':') ||
      !ReadNumber(text, at, 2, 2, &minute)) {
    return false;
  }
  if (text[*at] == ':') {
    ++*at;
    if (!ReadNumber(text, at, 2, 2, &second)) return false;
    if (text[*at] == '.' && (++*at, !ReadNumber(text, at, 1, 6, &fraction))) return false;
  }
  return hour <= 23 && minute <= 59 && second <= 59;
}

// An offset from UTC at `*at`: +H[H][[:]MM] or -H[H][[:]MM].
bool ReadZone(const char* text, size_t* at) {
  if (text[*at] != '+' && text[*at] != '-') return false;
  ++*at;
  long hours, minutes = 0;
  if (!ReadNumber(text, at, 1, 2, &hours)) return false;
  if (text[*at] == ':') ++*at;
  if (text[*at] >= '0' && text[*at] <= '9' && !ReadNumber(text, at, 2, 2, &minutes)) return false;
  return hours <= 15 && minutes <= 59;
}

}  // namespace

DateForm DateFormOf(const char* date, size_t capacity) {
  if (date == nullptr) return DateForm::kNone;
  size_t length = strnlen(date, capacity);
  if (length == 0) return DateForm::kNone;
  if (length > kMaxDateLength) return DateForm::kBad;
  char text[kMaxDateLength + 1];
  memcpy(text, date, length);
  text[length] = '\0';

  // Metadata sources write an unknown date as zeros.
  if (strncmp(text, "0000", 4) == 0 && strspn(text, "0-:. T") == length) return DateForm::kNone;

  size_t at = 0;
  long year, month, day;
  if (!ReadNumber(text, &at, 4, 6, &year) || !Expect(text, &at, '-') ||
      !ReadNumber(text, &at, 1, 2, &month) || !Expect(text, &at, '-') ||
      !ReadNumber(text, &at, 1, 2, &day)) {
    return DateForm::kBad;
  }
  if (year < 1 || year > 294276 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month)) {
    return DateForm::kBad;
  }
  if (text[at] == ' ' || text[at] == 'T') {
    ++at;
    if (!ReadTimeOfDay(text, &at)) return DateForm::kBad;
    if (text[at] != '\0' && !ReadZone(text, &at)) return DateForm::kBad;
  }
  return text[at] == '\0' ? DateForm::kValid : DateForm::kBad;
}

}  // namespace LibKinolot
