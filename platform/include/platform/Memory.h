#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace platform {

/// What all requests together may hold of the memory: their bodies, the trees and records made of them, rows of the
/// database, and answers. It counts, and allocates nothing itself. Thread-safe.
class PLATFORM_API MemoryBudget : public Orv::Base::CNoncopyable {
 public:
  /// Who takes: what is large leaves an eighth of each bound to the small.
  enum class Size { kSmall, kLarge };

  MemoryBudget() = default;

  /// The budget of this process, which is never destroyed.
  [[nodiscard]] static MemoryBudget& Process();

  /// Bounds what is held from now on; 0, as at the start, for no bound. One owner may hold a quarter of it.
  void Limit(std::size_t bytes);
  [[nodiscard]] std::size_t limit() const;

  /// The most that one request of this size can ever get.
  [[nodiscard]] std::size_t Most(Size size) const;

  [[nodiscard]] std::size_t Held() const;

  /// `listener` is called after each release, on the thread that released and without a lock; null for none.
  void OnRelease(std::function<void()> listener);

 private:
  friend class MemoryShare;

  struct Account {
    std::size_t held = 0;
    std::size_t shares = 0;
  };
  using Accounts = std::unordered_map<std::string, Account>;

  Account* Open(const std::string& owner);
  void Close(const std::string& owner);
  bool HasRoom(const Account& account, std::size_t bytes, Size size) const;
  bool Take(Account& account, std::size_t bytes, bool whatever, Size size);
  void Give(Account& account, std::size_t bytes);

  mutable std::mutex mutex_;
  // Under mutex_:
  std::size_t limit_ = 0;
  std::size_t held_ = 0;
  Accounts accounts_;
  std::shared_ptr<const std::function<void()>> listener_;
};

/// What one request holds of a budget. One thread at a time.
class PLATFORM_API MemoryShare : public Orv::Base::CNoncopyable {
 public:
  /// Holds nothing yet. `owner` is for whom it is held: the client's address.
  explicit MemoryShare(std::string owner, MemoryBudget& budget = MemoryBudget::Process());
  ~MemoryShare();

  /// False, with nothing taken, when the budget or the owner's part of it has no room.
  [[nodiscard]] bool TryTake(std::size_t bytes, MemoryBudget::Size size = MemoryBudget::Size::kSmall);
  /// Whether only the others are in the way of `bytes` more: the owner's part has room for them.
  [[nodiscard]] bool OwnerHasRoom(std::size_t bytes, MemoryBudget::Size size) const;
  /// Takes more than there is, if it must.
  void Take(std::size_t bytes);
  /// At most what is held.
  void Give(std::size_t bytes);
  void ShrinkTo(std::size_t bytes);

  [[nodiscard]] std::size_t held() const { return held_; }
  /// The most that was held at once.
  [[nodiscard]] std::size_t peak() const { return peak_; }

 private:
  void Note(std::size_t bytes);

  MemoryBudget& budget_;
  const std::string owner_;
  MemoryBudget::Account* const account_;
  std::size_t held_ = 0;
  std::size_t peak_ = 0;
};

}  // namespace platform
