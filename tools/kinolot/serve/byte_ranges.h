// Direct play of a stored file over HTTP, apart from any server: the answer
// to a Range header (200, 206 or 416 with its Content-Range), If-Range against
// an entity tag made of the file's size and modification time, the
// Content-Type of a container, and a reader that hands a byte range to a
// sink in bounded chunks from an open file.
//
// Only single ranges are answered with 206. A header naming several ranges
// (overlapping or not) is answered with the whole file as 200, which HTTP
// allows and every player handles; no multipart answers are produced.
#ifndef KINOLOT_TOOLS_SERVE_BYTE_RANGES_H_
#define KINOLOT_TOOLS_SERVE_BYTE_RANGES_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace kinolot_serve {

// What to send for one request: `length` bytes from `offset`.
struct RangeAnswer {
  int status = 200;           // 200, 206 or 416
  int64_t offset = 0;         // first byte to send
  int64_t length = 0;         // bytes to send (0 for 416)
  std::string content_range;  // "bytes 0-99/1000" for 206, "bytes */1000" for 416, else ""
};

// The answer for a file of `size` bytes whose entity tag is `etag`.
// `range` and `if_range` are the request's header values, null or empty when
// absent. A Range header that does not parse, or an If-Range that does not
// equal `etag` (dates and weak tags never do), gives the whole file. Never
// fails.
RangeAnswer AnswerRange(const char* range, const char* if_range, const std::string& etag,
                        int64_t size);

// A strong entity tag with its quotes, such as "\"5f3a2-17b9e6c3d80\"",
// from the file's size and modification time in nanoseconds.
std::string FileETag(int64_t size, int64_t modified_ns);

// The Content-Type of a stored container name (as in MediaTraits);
// "application/octet-stream" for names it does not know.
const char* ContainerContentType(const std::string& container);

// A file opened for streaming, closed when the object goes.
class StreamFile {
 public:
  enum class Status { kOpen, kMissing, kUnreadable };

  StreamFile() = default;
  ~StreamFile();
  StreamFile(const StreamFile&) = delete;
  StreamFile& operator=(const StreamFile&) = delete;

  // Opens the regular file at `path` for reading. kMissing when nothing is
  // there any more (the server's 404), kUnreadable with the reason in
  // `error` for anything else (its 5xx). `error` may be null.
  Status Open(const std::string& path, std::string* error);

  int fd() const { return fd_; }
  int64_t size() const { return size_; }
  const std::string& etag() const { return etag_; }

 private:
  int fd_ = -1;
  int64_t size_ = 0;
  std::string etag_;
};

// Receives one chunk; returns false when the client is gone, which ends the
// stream at once.
using ChunkSink = std::function<bool(const char* data, size_t size)>;

enum class StreamOutcome { kDone, kClientGone, kReadFailed };

// Hands `length` bytes of `fd` from `offset` to `sink`, `chunk_size` bytes at
// a time (256 KiB by default) through one buffer of that size, with positional
// reads: several streams may share a descriptor. kReadFailed when the file
// ends early or cannot be read; nothing is left allocated on any outcome.
StreamOutcome StreamRange(int fd, int64_t offset, int64_t length, const ChunkSink& sink,
                          size_t chunk_size = 256 * 1024);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_BYTE_RANGES_H_
