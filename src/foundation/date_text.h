// Dates as the library stores them: release dates, sort dates and record
// times travel as texts ("2009-05-01", "2012-06-01 10:00:00") and reach SQL
// between quotes. A text is sorted here into no date, a date the server
// takes as it is, or one it would refuse, so that an impossible date is
// refused before any statement of a save runs.
#ifndef KINOLOT_FOUNDATION_DATE_TEXT_H_
#define KINOLOT_FOUNDATION_DATE_TEXT_H_

#include <cstddef>

namespace LibKinolot {

enum class DateForm {
  kNone,   // empty, or all zeros ("0000", "0000-00-00 00:00:00"): no date
  kValid,  // a calendar date, optionally with a time of day and a zone
  kBad,    // anything else, such as "2009-02-30" or "2009-05-01 25:00"
};

// Sorts the text of `date`, read no further than `capacity` bytes (null reads
// as ""). A valid text is at most 29 bytes, so that its quoted form fits a
// 32-byte field: YYYY-M-D (year 0001 to 294276, written with at least four
// digits so that the server cannot take it for a month; month and day of one
// or two digits, the day within its month), optionally followed by a blank
// or 'T' and H:MM[:SS[.f]], and by a zone +H[H][[:]MM] or -H[H][[:]MM].
DateForm DateFormOf(const char* date, size_t capacity);

}  // namespace LibKinolot

#endif  // KINOLOT_FOUNDATION_DATE_TEXT_H_
