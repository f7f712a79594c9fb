// Reading ahead on a thread of its own: while the scanner stores one file
// through the database, the next ones are already being probed, so that the
// scan takes about the longer of the two instead of their sum.
#ifndef KINOLOT_TOOLS_SCAN_READ_AHEAD_H_
#define KINOLOT_TOOLS_SCAN_READ_AHEAD_H_

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>

namespace kinolot_scan {

class ReadAhead {
 public:
  // Calls `read(i)` for i = 0 .. count-1, in order, on a new thread, never
  // more than `window` items past the last one released.
  ReadAhead(size_t count, size_t window, std::function<void(size_t)> read);
  // Stops reading (the item at work is finished) and joins the thread.
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // Returns once read(i) has returned.
  void Wait(size_t i);
  // Items before `end` are done with: reading may go on up to end + window.
  void Release(size_t end);

 private:
  void Run();

  const size_t count_, window_;
  std::function<void(size_t)> read_;
  std::mutex mutex_;
  std::condition_variable changed_;
  size_t done_ = 0;  // items read
  size_t limit_;     // items that may be read
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_READ_AHEAD_H_
