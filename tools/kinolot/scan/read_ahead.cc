// Reading ahead on a thread; see read_ahead.h.
#include "read_ahead.h"

#include <utility>

namespace kinolot_scan {

ReadAhead::ReadAhead(size_t count, size_t window, std::function<void(size_t)> read)
    : count_(count), window_(window), read_(std::move(read)), limit_(window) {
  thread_ = std::thread([this] { Run(); });
}

ReadAhead::~ReadAhead() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void ReadAhead::Run() {
  for (size_t i = 0; i < count_; ++i) {
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [&] { return stop_ || i < limit_; });
      if (stop_) return;
    }
    read_(i);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      done_ = i + 1;
    }
    changed_.notify_all();
  }
}

void ReadAhead::Wait(size_t i) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return done_ > i; });
}

void ReadAhead::Release(size_t end) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (end + window_ > limit_) limit_ = end + window_;
  }
  changed_.notify_all();
}

}  // namespace kinolot_scan
