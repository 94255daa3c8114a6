#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "FairShare.h"

namespace host {

/// Threads that share one bounded queue. Jobs must not throw.
///
/// Each job belongs to a client. Clients are served in turn, and each has a share of the threads and of the queue.
///
/// Where fewer jobs run at once than there are threads, a thread that may be held up by others (platform::CrowdPlace)
/// lets one more run meanwhile.
class WorkerPool {
 public:
  using Job = std::function<void()>;

  /// Throws std::runtime_error when a thread cannot be made; those already made have then ended. `at_once` 0 is as many
  /// as there are threads.
  WorkerPool(std::size_t threads, std::size_t queue_limit, std::size_t at_once = 0);
  /// Runs the jobs still queued, then joins the threads.
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// False, with nothing queued, when as many jobs are already queued as may be, in all or of this client. Thread-safe;
  /// never blocks.
  [[nodiscard]] bool TrySubmit(const std::string& client, Job job);

  /// How long jobs have been waiting without one of them being begun; 0 when none waits, and while a thread is free, as
  /// those that wait then have their share. Thread-safe.
  [[nodiscard]] std::chrono::milliseconds StarvedFor();

  /// Jobs that wait. Thread-safe.
  [[nodiscard]] std::size_t Queued();

  /// A thread has a platform::CrowdPlace that had none. Thread-safe.
  void NoteHeldUp();

 private:
  /// Kept while it has jobs.
  struct Client {
    std::deque<Job> queued;
    std::size_t running = 0;
    /// Grows with each turn; the least one is served next.
    std::uint64_t turn = 0;
  };
  using Clients = std::map<std::string, Client>;

  void Work();
  /// Lets the threads do what is queued, and joins them.
  void End();
  [[nodiscard]] bool MayRunMore() const;
  [[nodiscard]] bool ShouldWake();
  [[nodiscard]] std::size_t MostAtOnce() const;
  Clients::iterator NextClient();
  void Ended(Clients::iterator client);

  const std::size_t thread_count_;
  const std::size_t at_once_;
  const std::size_t queue_limit_;
  std::mutex mutex_;
  std::condition_variable wake_;
  // Guarded by mutex_:
  platform::FairShare share_;
  Clients clients_;
  std::uint64_t last_turn_ = 0;
  std::size_t queued_ = 0;
  /// When a job was begun, or came as the only one that waits.
  std::chrono::steady_clock::time_point last_progress_;
  std::size_t running_ = 0;
  /// Threads that wait for a job, and whether one of them was woken and has not looked for one yet.
  std::size_t idle_ = 0;
  bool waking_ = false;
  bool ending_ = false;

  std::vector<std::jthread> threads_;
};

}  // namespace host
