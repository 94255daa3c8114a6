#include "KelpPlatform/ThreadManager.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <stop_token>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "RealBackends.h"

namespace platform {
namespace {

/// Threads that stay idle until the loop is destroyed, which joins all of them.
class MessageLoop {
 public:
  /// Throws std::system_error when a thread cannot be created; those already created then end.
  explicit MessageLoop(int thread_count) {
    threads_.reserve(static_cast<std::size_t>(thread_count));
    for (int index = 0; index < thread_count; ++index)
      threads_.emplace_back([this](const std::stop_token& stop) { Run(stop); });
  }

 private:
  void Run(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    wake_.wait(lock, stop, [] { return false; });
  }

  std::mutex mutex_;
  std::condition_variable_any wake_;
  /// Last, so that the threads are joined before what they wait on is destroyed.
  std::vector<std::jthread> threads_;
};

enum class LoopKind { kSingle, kMulti };

struct NamedLoop {
  LoopKind kind;
  std::unique_ptr<MessageLoop> loop;
};

class ThreadManager final : public kelp::IThreadManager {
 public:
  bool CreateMessageLoop(const std::string& key) override { return Create(key, LoopKind::kSingle, 1); }
  void DestroyMessageLoop(const std::string& key) override { Destroy(key, LoopKind::kSingle); }

  bool CreateMultiMessageLoop(const std::string& key, int /*queue_count*/, int thread_count,
                              int /*priority*/) override {
    return thread_count >= 1 && thread_count <= kMaxThreads && Create(key, LoopKind::kMulti, thread_count);
  }
  void DestroyMultiMessageLoop(const std::string& key) override { Destroy(key, LoopKind::kMulti); }

 private:
  static constexpr int kMaxThreads = 256;

  bool Create(const std::string& key, LoopKind kind, int thread_count) {
    const std::lock_guard lock(mutex_);
    if (key.empty() || loops_.contains(key)) return false;
    try {
      loops_.emplace(key, NamedLoop{kind, std::make_unique<MessageLoop>(thread_count)});
      return true;
    } catch (const std::system_error&) {
      return false;
    }
  }

  void Destroy(const std::string& key, LoopKind kind) {
    // Destroyed outside the lock, since that joins threads.
    std::unique_ptr<MessageLoop> ended;
    const std::lock_guard lock(mutex_);
    const auto found = loops_.find(key);
    if (found == loops_.end() || found->second.kind != kind) return;
    ended = std::move(found->second.loop);
    loops_.erase(found);
  }

  std::mutex mutex_;
  std::map<std::string, NamedLoop> loops_;
};

}  // namespace

std::shared_ptr<kelp::IThreadManager> MakeThreadManager() { return std::make_shared<ThreadManager>(); }

}  // namespace platform
