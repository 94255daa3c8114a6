#pragma once

#include <atomic>
#include <memory>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace platform {

/// One request from outside, as the layers below it see it. The host makes it and binds it to the thread that runs the
/// request; what the system does on its own (a start, a plugin's threads) has none. Thread-safe.
class PLATFORM_API Call : public Orv::Base::CNoncopyable {
 public:
  /// By its method: only what reads may be ended before its time.
  enum class Kind { kReads, kWrites };

  explicit Call(Kind kind) : kind_(kind) {}

  /// The call that this thread works for; null when it works for none.
  [[nodiscard]] static Call* Current();

  [[nodiscard]] Kind kind() const { return kind_; }

  /// Sent a statement that may change rows.
  void NoteWrite() { has_written_ = true; }
  [[nodiscard]] bool HasWritten() const { return has_written_; }

  /// Refused because too many others wait for what it needs. The caller may be told to repeat it when nothing was
  /// written.
  void RefuseAsBusy() { refused_as_busy_ = true; }
  [[nodiscard]] bool IsRefusedAsBusy() const { return refused_as_busy_; }

 private:
  const Kind kind_;
  std::atomic<bool> has_written_ = false;
  std::atomic<bool> refused_as_busy_ = false;
};

/// Binds a call to this thread for a scope.
class PLATFORM_API CallScope : public Orv::Base::CNoncopyable {
 public:
  explicit CallScope(Call& call);
  ~CallScope();

 private:
  Call* const outer_;
};

}  // namespace platform
