// Range answers and bounded file reading for direct play; see byte_ranges.h.
#include "byte_ranges.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>

namespace kinolot_serve {
namespace {

constexpr int64_t kNone = -1;

// One "first-last", "first-" or "-suffix" of a Range header.
struct AskedRange {
  int64_t first = kNone;
  int64_t last = kNone;  // or the suffix length when `first` is kNone
};

bool IsSpace(char c) {
  return c == ' ' || c == '\t';
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Digits at `*text`, saturating at INT64_MAX; kNone when there are none.
int64_t Number(const char** text) {
  const char* p = *text;
  if (!IsDigit(*p)) return kNone;
  int64_t value = 0;
  for (; IsDigit(*p); ++p) {
    const int digit = *p - '0';
    value = value > (INT64_MAX - digit) / 10 ? INT64_MAX : value * 10 + digit;
  }
  *text = p;
  return value;
}

// Parses "bytes=RANGE[,RANGE...]" into the first asked and the count of ranges;
// false for anything else.
bool Parse(const char* header, AskedRange* first, int* count) {
  const char* p = header;
  while (IsSpace(*p)) ++p;
  if (strncasecmp(p, "bytes=", 6) != 0) return false;
  p += 6;
  *count = 0;
  for (;;) {
    while (IsSpace(*p)) ++p;
    AskedRange asked;
    if (*p == '-') {
      ++p;
      asked.last = Number(&p);
      if (asked.last == kNone) return false;
    } else {
      asked.first = Number(&p);
      if (asked.first == kNone || *p != '-') return false;
      ++p;
      asked.last = Number(&p);
      if (asked.last != kNone && asked.last < asked.first) return false;
    }
    if ((*count)++ == 0) *first = asked;
    while (IsSpace(*p)) ++p;
    if (*p == '\0') return true;
    if (*p++ != ',') return false;
  }
}

RangeAnswer Whole(int64_t size) {
  RangeAnswer answer;
  answer.length = size;
  return answer;
}

}  // namespace

RangeAnswer AnswerRange(const char* range, const char* if_range, const std::string& etag,
                        int64_t size) {
  if (size < 0) size = 0;
  AskedRange asked;
  int count = 0;
  if (range == nullptr || *range == '\0' || !Parse(range, &asked, &count) || count > 1) {
    return Whole(size);
  }
  if (if_range != nullptr && *if_range != '\0' && etag != if_range) return Whole(size);

  int64_t first = asked.first;
  int64_t last = size - 1;
  if (first == kNone) {  // the last `asked.last` bytes
    first = asked.last >= size ? 0 : size - asked.last;
    if (asked.last == 0) first = size;
  } else if (asked.last != kNone && asked.last < last) {
    last = asked.last;
  }
  RangeAnswer answer;
  char text[80];
  if (first >= size) {
    answer.status = 416;
    snprintf(text, sizeof(text), "bytes */%" PRId64, size);
  } else {
    answer.status = 206;
    answer.offset = first;
    answer.length = last - first + 1;
    snprintf(text, sizeof(text), "bytes %" PRId64 "-%" PRId64 "/%" PRId64, first, last, size);
  }
  answer.content_range = text;
  return answer;
}

std::string FileETag(int64_t size, int64_t modified_ns) {
  char text[64];
  snprintf(text, sizeof(text), "\"%" PRIx64 "-%" PRIx64 "\"", static_cast<uint64_t>(size),
           static_cast<uint64_t>(modified_ns));
  return text;
}

const char* ContainerContentType(const std::string& container) {
  struct Row {
    const char* name;
    const char* type;
  };
  static const Row kTypes[] = {
      {"mp4", "video/mp4"},
      {"m4v", "video/mp4"},
      {"webm", "video/webm"},
      {"mov", "video/quicktime"},
      {"matroska", "video/x-matroska"},
      {"mkv", "video/x-matroska"},
      {"avi", "video/x-msvideo"},
      {"mpegts", "video/mp2t"},
      {"ts", "video/mp2t"},
      {"m2ts", "video/mp2t"},
      {"mpeg", "video/mpeg"},
      {"flv", "video/x-flv"},
      {"asf", "video/x-ms-asf"},
      {"ogg", "video/ogg"},
  };
  for (const Row& row : kTypes) {
    if (strcasecmp(container.c_str(), row.name) == 0) return row.type;
  }
  return "application/octet-stream";
}

StreamFile::~StreamFile() {
  if (fd_ >= 0) close(fd_);
}

StreamFile::Status StreamFile::Open(const std::string& path, std::string* error) {
  if (fd_ >= 0) close(fd_);
  fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd_ < 0) {
    const int code = errno;
    if (error) *error = path + ": " + strerror(code);
    return code == ENOENT || code == ENOTDIR ? Status::kMissing : Status::kUnreadable;
  }
  struct stat info {};
  if (fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode)) {
    if (error) *error = path + ": not a regular file";
    close(fd_);
    fd_ = -1;
    return Status::kUnreadable;
  }
  size_ = info.st_size;
  etag_ = FileETag(size_,
                   static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec);
  posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
  return Status::kOpen;
}

StreamOutcome StreamRange(int fd, int64_t offset, int64_t length, const ChunkSink& sink,
                          size_t chunk_size) {
  if (chunk_size == 0) chunk_size = 256 * 1024;
  std::unique_ptr<char[]> buffer(new char[chunk_size]);
  while (length > 0) {
    const size_t want =
        length < static_cast<int64_t>(chunk_size) ? static_cast<size_t>(length) : chunk_size;
    const ssize_t got = pread(fd, buffer.get(), want, offset);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return StreamOutcome::kReadFailed;
    if (!sink(buffer.get(), static_cast<size_t>(got))) return StreamOutcome::kClientGone;
    offset += got;
    length -= got;
  }
  return StreamOutcome::kDone;
}

}  // namespace kinolot_serve
