// `kinolot serve --watch`: the folder watch beside the server. It runs as
// `kinolot scan --watch` in a process of its own, so that its database
// session and the transactions of its batches never mix with the requests'
// (the library's indexing session is one per process). Its lines go to the
// server's standard error and each change it reports is counted for pages.
#ifndef KINOLOT_TOOLS_CLI_WATCH_PROCESS_H_
#define KINOLOT_TOOLS_CLI_WATCH_PROCESS_H_

#include <sys/types.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace kinolot_cli {

class WatchProcess {
 public:
  WatchProcess() = default;
  // Ends the watch (SIGTERM) and waits for it.
  ~WatchProcess();
  WatchProcess(const WatchProcess&) = delete;
  WatchProcess& operator=(const WatchProcess&) = delete;

  // Starts watching `folders`, rescanning those without events every
  // `rescan_seconds`. Returns false, with the reason in `error`, when the
  // process cannot be started. Call it before the server opens its socket,
  // with SIGINT and SIGTERM blocked: its thread leaves them to the caller.
  bool Start(const std::vector<std::string>& folders, int rescan_seconds, std::string& error);
  // The changes reported so far; readable from any thread.
  long changes() const { return changes_.load(); }

 private:
  pid_t pid_ = -1;
  std::thread reader_;
  std::atomic<long> changes_{0};
};

}  // namespace kinolot_cli

#endif  // KINOLOT_TOOLS_CLI_WATCH_PROCESS_H_
