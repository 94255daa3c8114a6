#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace platform {

enum class TurnKind { kEvidence, kEvidenceFiles };

/// A turn at changing things of one kind, named by their ids: while it lasts, no other thread of this process has a
/// turn at any of them. Threads that wait for an id are served in the order in which they came.
///
/// A thread that holds an id may take another turn at it, which is granted at once, so that a caller can hold a turn
/// over several operations that each take their own. Ids are taken in ascending order, so two turns never block each
/// other for ever. A nested turn at further ids, smaller than those held, may: then the one that waited first gives up
/// when its patience ends. Take no turn while holding a lock that a thread may want during its turn.
class PLATFORM_API Turn : public Orv::Base::CNoncopyable {
 public:
  static constexpr std::chrono::seconds kPatience{10};

  /// Waits for all of `ids`, repeated ones counted once, for `patience` at most. A negative id is an id like any other.
  /// Who has to wait takes a place of the crowd (Crowd.h) meanwhile, and gets no turn when none is left.
  Turn(TurnKind kind, std::vector<std::int64_t> ids, std::chrono::milliseconds patience = kPatience);
  /// Ends the turn, on the thread that took it.
  ~Turn();

  /// Whether the turn was granted. If not, nothing is held.
  [[nodiscard]] explicit operator bool() const { return granted_; }

 private:
  void GiveBack(std::size_t count) noexcept;

  const TurnKind kind_;
  std::vector<std::int64_t> ids_;  ///< ascending
  bool granted_ = false;
};

}  // namespace platform
