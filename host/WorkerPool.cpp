#include "WorkerPool.h"

#include <utility>

namespace host {

WorkerPool::WorkerPool(std::size_t threads, std::size_t queue_limit) : queue_limit_(queue_limit) {
  for (std::size_t i = 0; i < threads; ++i)
    threads_.emplace_back([this] { Work(); });
}

WorkerPool::~WorkerPool() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
  threads_.clear();
}

bool WorkerPool::TrySubmit(Job job) {
  {
    const std::lock_guard lock(mutex_);
    if (queue_.size() >= queue_limit_) return false;
    queue_.push_back(std::move(job));
  }
  wake_.notify_one();
  return true;
}

void WorkerPool::Work() {
  for (;;) {
    std::unique_lock lock(mutex_);
    wake_.wait(lock, [this] { return ending_ || !queue_.empty(); });
    if (queue_.empty()) return;
    const Job job = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    job();
  }
}

}  // namespace host
