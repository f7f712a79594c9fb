// FileDownload: one HTTP request through the client library's easy
// interface, with a few retries of transient network failures, and what the
// response said about the file it delivered.
#include "kinolot/file_download.h"

#include <curl/curl.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>

#include "db/video_info_common.h"

namespace LibKinolot {
namespace {

// The quotes belong to the value: the servers this talks to have always
// seen the agent with them, so they stay.
constexpr char kUserAgent[] = "\"Mozilla/4.0 (compatible; MSIE 6.1; Windows XP)\"";
constexpr long kTimeoutSeconds = 30;
constexpr int kAttempts = 3;

size_t WriteToFile(char* data, size_t size, size_t count, void* file) {
  return fwrite(data, size, count, static_cast<FILE*>(file));
}

// Failures that may pass by themselves: the request is tried again.
bool IsTransient(int code) {
  return code == CURLE_OPERATION_TIMEDOUT || code == CURLE_COULDNT_RESOLVE_HOST ||
         code == CURLE_COULDNT_RESOLVE_PROXY;
}

}  // namespace

FileDownload::FileDownload() : url_(nullptr), content_length_(0) {
  content_type_[0] = '\0';
  filename_[0] = '\0';
}

FileDownload::FileDownload(const char* url) : FileDownload() {
  SetUrl(url);
}

FileDownload::~FileDownload() = default;

void FileDownload::SetUrl(const char* url) {
  url_ = url;
}

int FileDownload::DownloadBody(const char* path) {
  return CurlExec(path, false);
}

int FileDownload::DownloadHeader(const char* path) {
  return CurlExec(path, true);
}

double FileDownload::GetContentLength() {
  return content_length_;
}

const char* FileDownload::GetContentType() {
  return content_type_;
}

const char* FileDownload::GetFilename() {
  return filename_;
}

bool FileDownload::IsReasonableLength(double limit) {
  return limit > content_length_;
}

bool FileDownload::IsImageType() {
  if (content_type_[0] != '\0') {
    return strcmp(content_type_, "image/jpeg") == 0 || strcmp(content_type_, "image/png") == 0;
  }
  const char* dot = strrchr(filename_, '.');
  if (dot == nullptr) return false;
  return strcmp(dot + 1, "jpg") == 0 || strcmp(dot + 1, "png") == 0;
}

void FileDownload::ToLower(char* s) {
  if (s == nullptr) return;
  for (; *s; ++s) *s = static_cast<char>(tolower(static_cast<unsigned char>(*s)));
}

void* FileDownload::CurlInit() {
  curl_global_init(CURL_GLOBAL_ALL);
  return curl_easy_init();
}

void FileDownload::CurlUint(void* handle) {
  curl_easy_cleanup(static_cast<CURL*>(handle));
  curl_global_cleanup();
}

int FileDownload::CurlExecCore(void* handle, const char* path, bool header) {
  CURL* curl = static_cast<CURL*>(handle);
  if (path == nullptr) return curl_easy_perform(curl);

  FILE* file = fopen(path, "w");
  if (file == nullptr) return -1;
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, WriteToFile);
  // Without a header function of its own, the client hands headers to the
  // write function as soon as header data is set.
  curl_easy_setopt(curl, header ? CURLOPT_WRITEHEADER : CURLOPT_WRITEDATA, file);
  int code = curl_easy_perform(curl);
  // Back to the client's own defaults (body to standard output, headers
  // dropped): the handle must neither write to the closed file nor hand a
  // null file to our write function when it is used again without a path.
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, static_cast<curl_write_callback>(nullptr));
  if (header) {
    curl_easy_setopt(curl, CURLOPT_WRITEHEADER, static_cast<void*>(nullptr));
  } else {
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, static_cast<void*>(stdout));
  }
  fclose(file);
  return code;
}

void FileDownload::CurlGetInfo(void* handle) {
  CURL* curl = static_cast<CURL*>(handle);
  // The size-typed query gives the same value (-1 when unknown) as the older
  // floating-point one, which current client headers mark deprecated.
  curl_off_t length = -1;
  if (curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) == CURLE_OK) {
    content_length_ = static_cast<double>(length);
  }

  char* type = nullptr;
  curl_easy_getinfo(curl, CURLINFO_CONTENT_TYPE, &type);
  CopyText(content_type_, type);
  // Lower-casing the client's copy, not ours: the member keeps the server's
  // case, which is what IsImageType compares against.
  ToLower(type);

  char* effective = nullptr;
  curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &effective);
  ParseUrl(effective);
}

void FileDownload::ParseUrl(const char* url) {
  filename_[0] = '\0';
  if (url == nullptr) return;
  const char* slash = strrchr(url, '/');
  const char* name = slash ? slash + 1 : url;
  // A capacity of the segment's length plus one stops the copy at the "?";
  // a longer segment is cut to the member, never inside a UTF-8 letter.
  size_t length = strcspn(name, "?");
  CopyText(filename_, length < sizeof(filename_) ? length + 1 : sizeof(filename_), name);
  ToLower(filename_);
}

int FileDownload::CurlExec(const char* path, bool header) {
  CURL* curl = static_cast<CURL*>(CurlInit());
  if (curl == nullptr || url_ == nullptr) {
    CurlUint(curl);
    return -1;
  }
  curl_easy_setopt(curl, CURLOPT_URL, url_);
  curl_easy_setopt(curl, CURLOPT_USERAGENT, kUserAgent);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, kTimeoutSeconds);
  if (header) curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);

  int code = CurlExecCore(curl, path, header);
  for (int failures = 0; IsTransient(code);) {
    sleep(1);
    if (++failures == kAttempts) break;
    code = CurlExecCore(curl, path, header);
  }
  if (code != CURLE_OK) {
    CurlUint(curl);
    return -1;
  }

  long response = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response);
  if (response != 200) {
    // Redirects were followed, so this is the code of the last response.
    printf("Failed to download file, ResponseCode=%ld", response);
    CurlUint(curl);
    return -1;
  }
  CurlGetInfo(curl);
  CurlUint(curl);
  return 0;
}

}  // namespace LibKinolot
