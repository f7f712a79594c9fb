// Fuzzes what is derived from a scanner's names and dates before a save: the
// sort title, year, release date and sort date (filterTitle, parseYearDate,
// FillVideoInfo) and the check that decides which dates may be stored.
//
// Fields are handed over as the records hold them: fixed-size blocks that may
// be filled to the last byte without a terminator, each on the heap so that
// the address sanitizer sees any read past it. Every date that FillVideoInfo
// leaves and the save check lets through must be taken by the server as a
// timestamp and a date (checked against the cluster that scripts/fuzz.sh
// starts; without one only the calendar is checked), and the check must
// agree with the calendar.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "db/video_info_common.h"
#include "foundation/date_text.h"
#include "fuzz_database.h"
#include "kinolot/video_info_store.h"

using namespace LibKinolot;
using kinolot_fuzz::Check;

namespace {

kinolot_fuzz::FuzzDatabase* Database() {
  static kinolot_fuzz::FuzzDatabase* database = [] {
    auto* opened = new kinolot_fuzz::FuzzDatabase;
    opened->Open();
    return opened;
  }();
  return database;
}

// A field of `N` bytes filled from the input: `text` cut to N bytes, with no
// terminator when it fills the field.
template <size_t N>
std::unique_ptr<char[]> Field(const std::string& text) {
  std::unique_ptr<char[]> field(new char[N]);
  memset(field.get(), 0, N);
  memcpy(field.get(), text.data(), text.size() < N ? text.size() : N);
  return field;
}

// Whether year-month-day names a day of the calendar: timegm would move it.
bool IsCalendarDay(long year, long month, long day) {
  struct tm date = {};
  date.tm_year = static_cast<int>(year - 1900);
  date.tm_mon = static_cast<int>(month - 1);
  date.tm_mday = static_cast<int>(day);
  date.tm_hour = 12;
  timegm(&date);
  return date.tm_mday == day && date.tm_mon == month - 1;
}

void CheckDateForm(const char* text, size_t capacity) {
  DateForm form = DateFormOf(text, capacity);
  std::string date(text, strnlen(text, capacity));
  long year = 0, month = 0, day = 0;
  int read = 0;
  if (form == DateForm::kValid) {
    Check(sscanf(date.c_str(), "%6ld-%2ld-%2ld%n", &year, &month, &day, &read) == 3 && year >= 1 &&
              month >= 1 && month <= 12 && IsCalendarDay(year, month, day),
          "a date outside the calendar passed the check");
    Check(date.size() <= 29, "a valid date does not fit its quotes in 32 bytes");
    kinolot_fuzz::FuzzDatabase* database = Database();
    if (database->IsOpen()) {
      Check(database->Accepts(date, "timestamp") && database->Accepts(date, "date"),
            "the server refuses a date that passed the check");
    }
  }
  if (date.size() == 10 &&
      sscanf(date.c_str(), "%4ld-%2ld-%2ld%n", &year, &month, &day, &read) == 3 && read == 10 &&
      year >= 1 && month >= 1 && month <= 12 && day >= 1 && IsCalendarDay(year, month, day) &&
      date[4] == '-' && date[7] == '-' && strspn(date.c_str(), "0123456789-") == 10) {
    Check(form == DateForm::kValid, "a plain calendar date was refused");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  // First byte: the record's type. Then three texts split at NUL bytes: the
  // title, the release date and the show's release date.
  std::string texts[3];
  int part = 0;
  for (size_t i = 1; i < size && part < 3; ++i) {
    if (data[i] == 0) {
      ++part;
    } else {
      texts[part].push_back(static_cast<char>(data[i]));
    }
  }

  auto title = Field<255>(texts[0]);
  char sortTitle[255];
  memset(sortTitle, 'x', sizeof(sortTitle));
  filterTitle(sortTitle, title.get());
  Check(memchr(sortTitle, '\0', sizeof(sortTitle)) != nullptr, "sort title not terminated");

  auto text = Field<32>(texts[1]);
  int year = -1;
  char date[32], sortTime[32];
  memset(date, 'x', sizeof(date));
  memset(sortTime, 'x', sizeof(sortTime));
  parseYearDate(&year, date, sortTime, text.get());
  Check(memchr(date, '\0', sizeof(date)) && memchr(sortTime, '\0', sizeof(sortTime)),
        "parsed date not terminated");
  Check(strncmp(date, text.get(), strlen(date)) == 0, "the release date is not the input's");
  Check(date[0] == '\0' || strcmp(date, sortTime) == 0, "a full date gives another sort date");
  CheckDateForm(text.get(), 32);
  CheckDateForm(sortTime, sizeof(sortTime));

  _VIDEO_INFO_ info;
  info.type = static_cast<_VIDEO_TYPE_>(data[0] % 8);
  memcpy(info.title, title.get(), sizeof(info.title));
  memcpy(info.originally_available, text.get(), sizeof(info.originally_available));
  auto showDate = Field<32>(texts[2]);
  memcpy(info.tvshow_originally_available, showDate.get(),
         sizeof(info.tvshow_originally_available));
  FillVideoInfo(&info);
  for (const char* field : {info.originally_available, info.sort_time,
                            info.tvshow_originally_available, info.tvshow_sort_time}) {
    CheckDateForm(field, 32);
  }
  Check(memchr(info.sort_title, '\0', sizeof(info.sort_title)) != nullptr,
        "record's sort title not terminated");
  return 0;
}
