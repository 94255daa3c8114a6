#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

#include "platform/Call.h"
#include "platform/Memory.h"

namespace host {

/// What a request with a body of this size takes of the budget before its body is read. One that writes takes all that
/// it can need; one that reads takes its body and what is made of it, and its rows count as they arrive.
[[nodiscard]] std::size_t MemoryFor(platform::Call::Kind kind, std::size_t body);

/// The largest body that the budget ever lets in.
[[nodiscard]] std::size_t LargestBody(platform::Call::Kind kind);

/// Lets requests in as the process's memory budget has room for them: first come, first served, but for those whose
/// address holds its part already, and for small requests, for which a part of the budget is left. Gives freed memory
/// back to the system. Thread-safe.
class Admission {
 public:
  enum class Verdict { kTaken, kWaits, kNever };
  /// True when the memory was taken, false when there was none in time.
  using Later = std::function<void(bool taken)>;

  /// A request waits for `patience` at most.
  explicit Admission(std::chrono::milliseconds patience);
  ~Admission();
  Admission(const Admission&) = delete;
  Admission& operator=(const Admission&) = delete;

  /// Takes `bytes` for `share`. When they have to wait, `later` is called once, on any thread and without a lock; it
  /// keeps `share` alive. kNever when the bounds do not allow as much at any time.
  [[nodiscard]] Verdict Take(platform::MemoryShare& share, std::size_t bytes, Later later);

  /// A request has ended that held `peak` bytes: after a large one the allocator's free memory goes back to the system
  /// within two seconds.
  void NoteEnd(std::size_t peak);

 private:
  struct State;
  static void Watch(State& state, const std::stop_token& stop);

  /// Shared with the budget's releases, which may come when this object is gone.
  const std::shared_ptr<State> state_;
  /// Last, so that it is joined first.
  std::jthread watcher_;
};

}  // namespace host
