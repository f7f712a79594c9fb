// Titles and dates derived from what the scanner found: the sort title
// without stop words, the release year and date, and the sort date, filled
// into a description before it is stored or looked up.
#include <strings.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "db/video_info_common.h"
#include "kinolot/video_info_store.h"

namespace LibKinolot {
namespace {

constexpr size_t kSortTitleSize = sizeof(_VIDEO_INFO_::sort_title);
constexpr size_t kDateSize = sizeof(_VIDEO_INFO_::sort_time);

bool IsStopWord(const char* word) {
  static const char* const kStopWords[] = {"a", "an", "the", "of", "in", "on", "at", "for", "by"};
  for (const char* stop : kStopWords) {
    if (strcasecmp(word, stop) == 0) return true;
  }
  return false;
}

}  // namespace

void filterTitle(char* out, const char* title) {
  if (out == nullptr) return;
  char work[kSortTitleSize + 1];
  CopyText(work, sizeof(work), title);
  out[0] = '\0';
  size_t used = 0;
  char* rest = nullptr;
  for (char* word = strtok_r(work, " ", &rest); word != nullptr;
       word = strtok_r(nullptr, " ", &rest)) {
    if (IsStopWord(word)) continue;
    // Each kept word is followed by one blank, the last one too; what does
    // not fit the field is cut at a letter boundary.
    int written = snprintf(out + used, kSortTitleSize - used, "%s ", word);
    if (written < 0 || used + written >= kSortTitleSize) {
      CopyText(out + used, kSortTitleSize - used, word);
      break;
    }
    used += written;
  }
}

char* parseYearDate(int* year, char* date, char* sortTime, const char* text) {
  if (year == nullptr || date == nullptr || sortTime == nullptr) return nullptr;
  char work[kDateSize + 1];
  // Callers pass 32-byte fields that may fill every byte: read no further.
  snprintf(work, sizeof(work), "%.32s", text ? text : "");
  *year = 0;
  date[0] = '\0';
  sortTime[0] = '\0';

  struct tm parsed;
  memset(&parsed, 0, sizeof(parsed));
  if (strptime(work, "%Y", &parsed) != nullptr) {
    // Every leading digit counts, also beyond the four that %Y reads.
    long value = strtol(work, nullptr, 10);
    // Metadata sources write an unknown date as zeros ("0000",
    // "0000-00-00"): there is no date at all then.
    if (value == 0) return nullptr;
    *year = value > INT_MAX ? INT_MAX : value < INT_MIN ? INT_MIN : static_cast<int>(value);
    // At least four digits: the server reads "5-01-01" as the first of May.
    snprintf(sortTime, kDateSize, "%04d-01-01", *year);
  }
  memset(&parsed, 0, sizeof(parsed));
  char* end = strptime(work, "%Y-%m-%d", &parsed);
  if (end == nullptr) return nullptr;
  *end = '\0';
  CopyText(date, kDateSize, work);
  CopyText(sortTime, kDateSize, work);
  return sortTime;
}

void FillVideoInfo(_VIDEO_INFO_* info) {
  if (info == nullptr) return;
  TerminateField(info->title);
  switch (info->type) {
    case VIDEO_TYPE_MOVIE:
    case VIDEO_TYPE_TVSHOW:
      filterTitle(info->sort_title, info->title);
      if (info->sort_time[0] == '\0') {
        parseYearDate(&info->year, info->originally_available, info->sort_time,
                      info->originally_available);
      }
      break;
    case VIDEO_TYPE_TVSHOW_EPISODE:
      filterTitle(info->sort_title, info->title);
      if (info->tvshow_sort_time[0] == '\0') {
        parseYearDate(&info->tvshow_year, info->tvshow_originally_available, info->tvshow_sort_time,
                      info->tvshow_originally_available);
      }
      if (info->sort_time[0] == '\0') {
        parseYearDate(&info->year, info->originally_available, info->sort_time,
                      info->originally_available);
      }
      break;
    case VIDEO_TYPE_HOME_VIDEO:
    case VIDEO_TYPE_TV_RECORD:
      filterTitle(info->sort_title, info->title);
      break;
    default:
      break;
  }
}

}  // namespace LibKinolot
