// Captures syslog messages through standard error; see syslog_capture.h.
#include "support/syslog_capture.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

namespace kinolot_test {
namespace {
const char kIdent[] = "kinolot-test";
}

void SyslogCapture::Start() {
  Stop();
  openlog(kIdent, LOG_PERROR, LOG_USER);
  path_ = "/tmp/kinolot-syslog-" + std::to_string(getpid()) + ".log";
  int fd = open(path_.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  if (fd < 0) return;
  fflush(stderr);
  saved_stderr_ = dup(STDERR_FILENO);
  dup2(fd, STDERR_FILENO);
  close(fd);
}

SyslogCapture::~SyslogCapture() {
  Stop();
  if (!path_.empty()) unlink(path_.c_str());
}

void SyslogCapture::Stop() {
  if (saved_stderr_ < 0) return;
  fflush(stderr);
  // Anything else that went to standard error meanwhile (a sanitizer report,
  // a library's warning) is passed on, so that it is not lost.
  std::ifstream in(path_);
  std::string line;
  std::string prefix = std::string(kIdent) + ": ";
  std::string other;
  while (std::getline(in, line)) {
    if (line.compare(0, prefix.size(), prefix) != 0) other += line + "\n";
  }
  dup2(saved_stderr_, STDERR_FILENO);
  close(saved_stderr_);
  saved_stderr_ = -1;
  if (!other.empty()) fputs(other.c_str(), stderr);
}

std::vector<std::string> SyslogCapture::Lines() {
  std::vector<std::string> lines;
  if (path_.empty()) return lines;
  fflush(stderr);
  std::ifstream in(path_);
  std::string line;
  std::string prefix = std::string(kIdent) + ": ";
  while (std::getline(in, line)) {
    if (line.compare(0, prefix.size(), prefix) == 0) lines.push_back(line.substr(prefix.size()));
  }
  return lines;
}

}  // namespace kinolot_test
