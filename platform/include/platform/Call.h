#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <utility>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"
#include "platform/Memory.h"

namespace platform {

/// One request from outside, as the layers below it see it. The host makes it and binds it to the thread that runs the
/// request; what the system does on its own (a start, a plugin's threads) has none. Thread-safe.
class PLATFORM_API Call : public Orv::Base::CNoncopyable {
 public:
  /// By its method: only what reads may be ended before its time.
  enum class Kind { kReads, kWrites };

  /// `client` names whom the request is for; the requests of one client share its part of what is short. `memory` is
  /// what the request holds, and outlives the call; null counts nothing.
  explicit Call(Kind kind, std::string client = {}, MemoryShare* memory = nullptr)
      : kind_(kind), client_(std::move(client)), memory_(memory) {}

  /// The call that this thread works for; null when it works for none.
  [[nodiscard]] static Call* Current();

  [[nodiscard]] Kind kind() const { return kind_; }
  [[nodiscard]] const std::string& client() const { return client_; }

  /// Sent a statement that may change rows.
  void NoteWrite() { has_written_ = true; }
  [[nodiscard]] bool HasWritten() const { return has_written_; }

  /// Refused because too many others wait for what it needs. The caller may be told to repeat it when nothing was
  /// written.
  void RefuseAsBusy() { refused_as_busy_ = true; }
  [[nodiscard]] bool IsRefusedAsBusy() const { return refused_as_busy_; }

  /// Nobody needs the result any more: what this call reads is ended, and what it would still read is refused. What it
  /// writes is done as ever. Does nothing to a call of kind kWrites.
  void Cancel();
  [[nodiscard]] bool IsCancelled() const { return cancelled_; }

  /// Counts `bytes` that the request needs from here on. False, with nothing counted and a log line, when a call that
  /// only reads finds no room for them: it has to end. What may have written is counted and never refused, so that
  /// nothing done is answered as refused. On the thread of the call.
  [[nodiscard]] bool TakeMemory(std::size_t bytes);
  void GiveMemory(std::size_t bytes);

  /// Counts what a change may need beyond what its body told, before it writes anything. False, with nothing counted,
  /// when there is no room for it now: the call is then refused as busy. What could never be had is not waited for.
  [[nodiscard]] bool TakeMemoryToWrite(std::size_t bytes);
  [[nodiscard]] bool IsRefusedForMemory() const { return refused_for_memory_; }

 private:
  friend class WhenCancelled;

  const Kind kind_;
  const std::string client_;
  MemoryShare* const memory_;
  std::atomic<bool> has_written_ = false;
  std::atomic<bool> refused_as_busy_ = false;
  std::atomic<bool> refused_for_memory_ = false;
  std::atomic<bool> cancelled_ = false;

  std::mutex mutex_;
  /// Guarded by mutex_: what is done at a cancellation.
  std::list<std::function<void()>> actions_;
};

/// Runs an action when a call is cancelled, for the length of a scope; at once when it is cancelled already. The action
/// runs at most once, on the thread that cancels, must be short and must not throw, and has ended when this object is
/// gone. It must not use the call; a lock that it takes must not be held at this object's start and end.
class PLATFORM_API WhenCancelled : public Orv::Base::CNoncopyable {
 public:
  /// Without a call the action never runs.
  WhenCancelled(Call* call, std::function<void()> action);
  ~WhenCancelled();

 private:
  Call* const call_;
  std::list<std::function<void()>>::iterator place_;
};

/// Binds a call to this thread for a scope.
class PLATFORM_API CallScope : public Orv::Base::CNoncopyable {
 public:
  explicit CallScope(Call& call);
  ~CallScope();

 private:
  Call* const outer_;
};

/// Counts `bytes` of a text or a tree for the call of this thread. Throws std::bad_alloc when it has no room; without a
/// call nothing is counted.
PLATFORM_API void NeedMemory(std::size_t bytes);

}  // namespace platform
