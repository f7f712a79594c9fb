// The worker threads of `kinolot serve`; see worker_pool.h.
#include "worker_pool.h"

namespace kinolot_serve {

WorkerPool::WorkerPool(int threads) {
  for (int i = 0; i < (threads > 0 ? threads : 1); ++i) threads_.emplace_back([this] { Work(); });
}

WorkerPool::~WorkerPool() {
  Join();
}

void WorkerPool::Post(std::chrono::steady_clock::duration delay, std::function<void()> task) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (closing_) return;
    tasks_.push(Task{std::chrono::steady_clock::now() + delay, posted_++, std::move(task)});
  }
  ready_.notify_one();
}

void WorkerPool::Join() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    closing_ = true;
  }
  ready_.notify_all();
  for (std::thread& thread : threads_)
    if (thread.joinable()) thread.join();
}

void WorkerPool::Work() {
  for (;;) {
    std::function<void()> run;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      ready_.wait(lock, [this] { return closing_ || !tasks_.empty(); });
      if (tasks_.empty()) return;  // closing, and nothing left to run
      run = std::move(const_cast<Task&>(tasks_.top()).run);
      tasks_.pop();
    }
    run();
  }
}

}  // namespace kinolot_serve
