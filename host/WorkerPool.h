#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace host {

/// Threads that share one bounded queue. Jobs must not throw.
class WorkerPool {
 public:
  using Job = std::function<void()>;

  WorkerPool(std::size_t threads, std::size_t queue_limit);
  /// Runs the jobs still queued, then joins the threads.
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// False, with nothing queued, when `queue_limit` jobs are already queued. Thread-safe; never blocks.
  [[nodiscard]] bool TrySubmit(Job job);

 private:
  void Work();

  const std::size_t queue_limit_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Job> queue_;
  bool ending_ = false;
  std::vector<std::jthread> threads_;
};

}  // namespace host
