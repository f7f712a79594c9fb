// The folder watch's process; see watch_process.h.
#include "watch_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace kinolot_cli {

bool WatchProcess::Start(const std::vector<std::string>& folders, int rescan_seconds,
                         std::string& error) {
  std::vector<std::string> args = {
      "kinolot", "scan", "--watch", "--rescan-interval", std::to_string(rescan_seconds), "--"};
  args.insert(args.end(), folders.begin(), folders.end());
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(&arg[0]);
  argv.push_back(nullptr);
  int out[2];
  if (pipe2(out, O_CLOEXEC) != 0) {
    error = std::string("cannot start the folder watch: ") + strerror(errno);
    return false;
  }
  pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    // The watch ends with the server, however the server ends.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    dup2(out[1], STDOUT_FILENO);
    execv("/proc/self/exe", argv.data());
    _exit(127);
  }
  close(out[1]);
  if (pid_ < 0) {
    close(out[0]);
    error = std::string("cannot start the folder watch: ") + strerror(errno);
    return false;
  }
  reader_ = std::thread([this, fd = out[0]] {
    FILE* lines = fdopen(fd, "r");
    if (lines == nullptr) {
      close(fd);
      return;
    }
    char line[4096];
    while (fgets(line, sizeof(line), lines)) {
      std::fputs(line, stderr);
      // Every line but the one that says the watch has begun tells a change
      // (or a failure, which a page may show again harmlessly).
      if (std::strstr(line, ": watching ") == nullptr) ++changes_;
    }
    fclose(lines);
  });
  return true;
}

WatchProcess::~WatchProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  if (reader_.joinable()) reader_.join();
}

}  // namespace kinolot_cli
