// The worker threads of `kinolot serve`, where requests read in full are
// worked on. Tasks run earliest deadline first: a task's deadline is when it
// was posted plus a delay its poster chooses, so that a connection that has
// been served much already lets a newcomer go ahead of it, yet never waits
// more than its delay longer than it would in arrival order.
#ifndef KINOLOT_TOOLS_SERVE_WORKER_POOL_H_
#define KINOLOT_TOOLS_SERVE_WORKER_POOL_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

namespace kinolot_serve {

class WorkerPool {
 public:
  // Starts `threads` workers (at least one).
  explicit WorkerPool(int threads);
  // Joins, see Join().
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Queues `task` to run once every task of an earlier deadline has started.
  // Tasks posted after Join() has begun do not run.
  void Post(std::chrono::steady_clock::duration delay, std::function<void()> task);
  // Runs what is queued, then ends the workers; returns once they have ended.
  void Join();

 private:
  struct Task {
    std::chrono::steady_clock::time_point deadline;
    uint64_t order;  // arrival, for equal deadlines
    std::function<void()> run;
    bool operator<(const Task& other) const {
      // std::priority_queue puts the greatest first.
      return deadline != other.deadline ? deadline > other.deadline : order > other.order;
    }
  };
  void Work();

  std::mutex mutex_;
  std::condition_variable ready_;
  std::priority_queue<Task> tasks_;
  uint64_t posted_ = 0;
  bool closing_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_WORKER_POOL_H_
