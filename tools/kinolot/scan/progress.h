// The scanner's progress bar: one line on a terminal, redrawn in place, with
// the files done of the total, files per second, the time left and the file
// at hand.
#ifndef KINOLOT_TOOLS_SCAN_PROGRESS_H_
#define KINOLOT_TOOLS_SCAN_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <string>

namespace kinolot_scan {

// The bar's line, at most `width` columns (at least 20 are assumed): a bar
// when there is room, "done/total", the rate, the time left when it can be
// told, and as much of the end of `current` as fits. `current` may hold multi-byte
// letters; it is never cut inside one.
std::string ProgressLine(size_t done, size_t total, double seconds, const std::string& current,
                         int width);

class ProgressBar {
 public:
  // Draws on the terminal behind file descriptor `fd` when `enabled`;
  // otherwise every call does nothing.
  ProgressBar(int fd, bool enabled) : fd_(fd), enabled_(enabled) {}
  ~ProgressBar() { Finish(); }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // Starts timing a run of `total` files.
  void Start(size_t total);
  // Shows `done` files finished and `current` at work; redraws at most ten
  // times a second.
  void Update(size_t done, const std::string& current);
  // Clears the line, leaving the terminal as it was.
  void Finish();

 private:
  void Draw(const std::string& line);

  int fd_;
  bool enabled_;
  bool shown_ = false;
  size_t total_ = 0;
  std::chrono::steady_clock::time_point start_, last_;
};

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_PROGRESS_H_
