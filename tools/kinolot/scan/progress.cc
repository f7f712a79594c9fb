// The scanner's progress bar; see progress.h.
#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace kinolot_scan {
namespace {

// The longest start of `text` that fills at most `columns` columns.
std::string Fit(const std::string& text, size_t columns) {
  size_t used = 0, end = 0;
  while (end < text.size()) {
    size_t next = end + 1;
    while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0) == 0x80) ++next;
    if (++used > columns) break;
    end = next;
  }
  return text.substr(0, end);
}

// The end of `text` in at most `columns` columns, "..." marking a cut: the
// end of a path names the file.
std::string FitTail(const std::string& text, size_t columns) {
  std::vector<size_t> starts;  // where each letter begins
  for (size_t at = 0; at < text.size(); ++at) {
    if ((static_cast<unsigned char>(text[at]) & 0xC0) != 0x80) starts.push_back(at);
  }
  if (starts.size() <= columns) return text;
  size_t keep = columns > 3 ? columns - 3 : 0;
  return "..." + text.substr(starts[starts.size() - keep]);
}

std::string Duration(double seconds) {
  long total = static_cast<long>(seconds + 0.5);
  char text[32];
  if (total >= 3600) {
    snprintf(text, sizeof(text), "%ld:%02ld:%02ld", total / 3600, total / 60 % 60, total % 60);
  } else {
    snprintf(text, sizeof(text), "%ld:%02ld", total / 60, total % 60);
  }
  return text;
}

}  // namespace

std::string ProgressLine(size_t done, size_t total, double seconds, const std::string& current,
                         int width) {
  size_t columns = width < 20 ? 20 : static_cast<size_t>(width);
  double rate = seconds > 0 ? done / seconds : 0;
  char counts[96];
  snprintf(counts, sizeof(counts), " %zu/%zu  %.0f files/s", done, total, rate);
  std::string line = counts;
  if (rate > 0 && done < total) line += "  " + Duration((total - done) / rate) + " left";
  // The bar takes a third of what is left, when that is worth drawing.
  if (columns > line.size() + 30) {
    size_t bar = (columns - line.size()) / 3;
    size_t filled = total ? bar * (done > total ? total : done) / total : 0;
    line = "[" + std::string(filled, '#') + std::string(bar - filled, '.') + "]" + line;
  }
  if (!current.empty() && columns > line.size() + 4) {
    line += "  " + FitTail(current, columns - line.size() - 2);
  }
  return Fit(line, columns);
}

void ProgressBar::Start(size_t total) {
  total_ = total;
  start_ = std::chrono::steady_clock::now();
  last_ = start_ - std::chrono::seconds(1);
}

void ProgressBar::Update(size_t done, const std::string& current) {
  if (!enabled_) return;
  auto now = std::chrono::steady_clock::now();
  if (now - last_ < std::chrono::milliseconds(100) && done < total_) return;
  last_ = now;
  struct winsize size {};
  int width = ioctl(fd_, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
  double seconds = std::chrono::duration<double>(now - start_).count();
  // The last column stays empty: writing into it wraps on some terminals.
  Draw(ProgressLine(done, total_, seconds, current, width - 1));
}

void ProgressBar::Finish() {
  if (shown_) Draw("");
  shown_ = false;
}

void ProgressBar::Draw(const std::string& line) {
  // Carriage return, the line, then erase whatever an older line left behind.
  std::string text = "\r" + line + "\033[K";
  if (write(fd_, text.data(), text.size()) < 0) enabled_ = false;
  shown_ = !line.empty();
}

}  // namespace kinolot_scan
