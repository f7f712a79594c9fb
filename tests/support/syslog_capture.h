// Reads back what the library writes to syslog: the process's syslog is
// opened with LOG_PERROR, so every message is also written to standard error,
// which is redirected into a file while a capture runs.
#ifndef KINOLOT_TESTS_SUPPORT_SYSLOG_CAPTURE_H_
#define KINOLOT_TESTS_SUPPORT_SYSLOG_CAPTURE_H_

#include <string>
#include <vector>

namespace kinolot_test {

class SyslogCapture {
 public:
  SyslogCapture() = default;
  // Stops the capture and removes its file.
  ~SyslogCapture();
  SyslogCapture(const SyslogCapture&) = delete;
  SyslogCapture& operator=(const SyslogCapture&) = delete;

  void Start();
  // Restores standard error; lines captured so far stay readable.
  void Stop();
  // The messages captured so far, one per line, without the "ident: " prefix.
  std::vector<std::string> Lines();

 private:
  int saved_stderr_ = -1;
  std::string path_;
};

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_SYSLOG_CAPTURE_H_
