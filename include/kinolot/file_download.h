// One HTTP(S) request at a time: fetch a URL's body into a local file, or
// only its response headers, and afterwards tell what came back (announced
// length, content type, the file name of the final URL, whether the response
// is an image). The poster downloader uses it to fetch images from the URLs
// that metadata sources supplied.
//
// Redirects are followed; a request times out after 30 seconds; a timeout or
// an unresolvable host or proxy is retried, one second apart, three attempts
// in all. The request carries the user agent
//   "Mozilla/4.0 (compatible; MSIE 6.1; Windows XP)"
// with the double quotes as part of the value: servers see the quotes.
// TLS certificates are not verified.
//
// Every request initialises and cleans up the HTTP client's global state,
// which is not thread-safe: use one object from one thread, and run no two
// requests of the process in parallel. Nothing here throws or writes to the
// system log; a final response code other than 200 is reported on standard
// output as "Failed to download file, ResponseCode=<code>" (no line end).
#ifndef KINOLOT_FILE_DOWNLOAD_H_
#define KINOLOT_FILE_DOWNLOAD_H_

#include "kinolot/export.h"

namespace LibKinolot {

class KINOLOT_EXPORT FileDownload {
 public:
  // No URL yet: set one with SetUrl before downloading.
  FileDownload();
  // As SetUrl(url).
  explicit FileDownload(const char* url);
  ~FileDownload();

  FileDownload(const FileDownload&) = default;
  FileDownload& operator=(const FileDownload&) = default;

  // Stores the pointer, not the text: the caller keeps the string alive for
  // as long as the object downloads. Null is allowed and makes downloads fail.
  void SetUrl(const char* url);

  // Fetches the body into the file `path`, created or truncated (with the
  // caller's umask) and written anew on every attempt. A null `path` sends
  // the body to standard output. Returns 0 when the final response was 200,
  // else -1; a file that cannot be opened also gives -1. After a failure the
  // file may hold a partial body; removing it is the caller's business.
  int DownloadBody(const char* path);

  // As DownloadBody, but asks for the headers only (no body is requested)
  // and writes them, as received, into `path`. A null `path` discards them.
  int DownloadHeader(const char* path);

  // What the last successful download found; unchanged by failed ones.
  //
  // The announced content length, -1 when the response did not announce
  // one, 0 before any successful download.
  double GetContentLength();
  // The Content-Type header as the server sent it (case kept), truncated to
  // 254 bytes; empty when the response had none. Owned by the object.
  const char* GetContentType();
  // The last path segment of the final URL (after redirects), without its
  // query, lower-cased, truncated to 255 bytes; empty for a URL ending in
  // "/". Owned by the object.
  const char* GetFilename();

  // True when `limit` is greater than the announced content length, so also
  // when the length is unknown (-1); false when they are equal.
  bool IsReasonableLength(double limit);

  // True for a JPEG or PNG response. With a content type, only the exact
  // texts "image/jpeg" and "image/png" count (case-sensitive; parameters
  // such as a charset make it no image). Without one, the file name decides:
  // its extension after the last "." must be "jpg" or "png" ("jpeg" is not
  // accepted), and a name without "." is no image.
  bool IsImageType();

  // Lower-cases the text `s` in place, byte by byte, with tolower (in the C
  // and UTF-8 locales only ASCII letters change).
  // Null is ignored.
  void ToLower(char* s);

  // The steps of one request, for callers that need them singly.
  //
  // Initialises the client's global state and returns a new request handle,
  // or null when none could be made; pass the result, null included, to
  // CurlUint.
  void* CurlInit();
  // Releases `handle` (null is allowed) and the global state CurlInit set up.
  void CurlUint(void* handle);
  // One attempt on a configured handle: runs the request, writing body or
  // headers into `path` as described above. Returns the client's result code
  // (0 on success), or -1 when `path` cannot be opened. The file is closed
  // before returning.
  int CurlExecCore(void* handle, const char* path, bool header);
  // Reads length, content type and final URL of a finished request into the
  // object.
  void CurlGetInfo(void* handle);
  // Sets the file name from `url`: the text after its last "/" (all of it
  // when there is none), cut at the first "?", lower-cased. Null gives "".
  void ParseUrl(const char* url);
  // The whole request with retries, as DownloadBody (header false) and
  // DownloadHeader (header true). The request handle is released on every
  // path, the failing ones included.
  int CurlExec(const char* path, bool header);

 private:
  const char* url_;         // borrowed from the caller
  double content_length_;   // -1 when unknown
  char content_type_[255];  // as the server sent it
  char filename_[256];      // lower-cased last segment of the final URL
};

}  // namespace LibKinolot

#endif  // KINOLOT_FILE_DOWNLOAD_H_
