#include "http/WorkerPool.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/Crowd.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

WorkerPool::WorkerPool(std::size_t threads, std::size_t queue_limit, std::size_t at_once)
    : thread_count_(threads), at_once_(at_once == 0 ? threads : at_once), queue_limit_(queue_limit) {
  try {
    for (std::size_t i = 0; i < threads; ++i)
      threads_.emplace_back([this] { Work(); });
  } catch (const std::exception& fault) {
    const auto made = threads_.size();
    End();
    throw std::runtime_error("only " + std::to_string(made) + " of " + std::to_string(threads) +
                             " worker threads can be made: " + fault.what());
  }
}

WorkerPool::~WorkerPool() { End(); }

void WorkerPool::End() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
  threads_.clear();
}

bool WorkerPool::TrySubmit(const std::string& client, Job job) {
  {
    const std::lock_guard lock(mutex_);
    share_.Note(client);
    if (queued_ >= queue_limit_) return false;
    const auto [place, is_new] = clients_.try_emplace(client);
    auto& [queued, running, turn] = place->second;
    if (is_new) turn = ++last_turn_;
    if (queued.size() >= share_.Of(client, queue_limit_)) return false;
    queued.push_back(std::move(job));
    if (queued_++ == 0) last_progress_ = Clock::now();
    // Otherwise a thread that ends a job takes this one.
    if (!ShouldWake()) return true;
  }
  wake_.notify_one();
  return true;
}

std::chrono::milliseconds WorkerPool::StarvedFor() {
  const std::lock_guard lock(mutex_);
  if (queued_ == 0 || MayRunMore()) return std::chrono::milliseconds(0);
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - last_progress_);
}

std::size_t WorkerPool::Queued() {
  const std::lock_guard lock(mutex_);
  return queued_;
}

void WorkerPool::NoteHeldUp() {
  {
    const std::lock_guard lock(mutex_);
    if (!ShouldWake()) return;
  }
  wake_.notify_one();
}

/// One thread at a time is woken, which wakes the next when there is more to do: those that run may be done with it by
/// then. The caller wakes one when told so.
bool WorkerPool::ShouldWake() {
  if (queued_ == 0 || idle_ == 0 || waking_ || !MayRunMore()) return false;
  waking_ = true;
  return true;
}

bool WorkerPool::MayRunMore() const { return running_ < MostAtOnce(); }

std::size_t WorkerPool::MostAtOnce() const { return std::min(at_once_ + platform::CrowdPlace::Taken(), thread_count_); }

/// The first in turn that has a job and may have one more thread; the end when there is none.
WorkerPool::Clients::iterator WorkerPool::NextClient() {
  auto next = clients_.end();
  if (!MayRunMore()) return next;
  const auto most = MostAtOnce();
  for (auto place = clients_.begin(); place != clients_.end(); ++place) {
    const auto& [name, client] = *place;
    if (client.queued.empty() || client.running >= share_.Of(name, most)) continue;
    if (next == clients_.end() || client.turn < next->second.turn) next = place;
  }
  return next;
}

void WorkerPool::Ended(Clients::iterator client) {
  if (--client->second.running == 0 && client->second.queued.empty()) clients_.erase(client);
}

void WorkerPool::Work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    auto client = NextClient();
    if (client == clients_.end()) {
      if (ending_ && queued_ == 0) return;
      ++idle_;
      wake_.wait(lock);
      --idle_;
      waking_ = false;
      continue;
    }
    auto& [queued, running, turn] = client->second;
    Job job = std::move(queued.front());
    queued.pop_front();
    if (--queued_ != 0) last_progress_ = Clock::now();
    ++running;
    ++running_;
    turn = ++last_turn_;
    const bool wakes = ShouldWake();
    lock.unlock();
    if (wakes) wake_.notify_one();
    job();
    job = nullptr;
    lock.lock();
    --running_;
    Ended(client);
    // The others may be waiting for a client that had all its threads.
    if (ending_) wake_.notify_all();
  }
}

}  // namespace host
