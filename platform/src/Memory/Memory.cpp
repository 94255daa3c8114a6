#include "platform/Memory.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace platform {
namespace {

/// One owner's part of the budget.
constexpr std::size_t kOwners = 4;
/// The part of each bound that is left to what is small.
constexpr std::size_t kSpare = 8;

bool Fits(std::size_t held, std::size_t bytes, std::size_t most) { return held <= most && bytes <= most - held; }

std::size_t BoundFor(std::size_t limit, MemoryBudget::Size size) {
  return size == MemoryBudget::Size::kSmall ? limit : limit - limit / kSpare;
}

}  // namespace

MemoryBudget& MemoryBudget::Process() {
  // A request that outlives the end of main still gives its share back.
  static auto* const budget = new MemoryBudget;
  return *budget;
}

void MemoryBudget::Limit(std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  limit_ = bytes;
}

std::size_t MemoryBudget::limit() const {
  const std::lock_guard lock(mutex_);
  return limit_;
}

std::size_t MemoryBudget::Most(Size size) const {
  const auto bytes = limit();
  return bytes == 0 ? std::numeric_limits<std::size_t>::max() : BoundFor(bytes, size) / kOwners;
}

std::size_t MemoryBudget::Held() const {
  const std::lock_guard lock(mutex_);
  return held_;
}

void MemoryBudget::OnRelease(std::function<void()> listener) {
  auto next = listener ? std::make_shared<const std::function<void()>>(std::move(listener)) : nullptr;
  const std::lock_guard lock(mutex_);
  listener_.swap(next);
}

MemoryBudget::Account* MemoryBudget::Open(const std::string& owner) {
  const std::lock_guard lock(mutex_);
  auto& account = accounts_[owner];
  ++account.shares;
  return &account;
}

void MemoryBudget::Close(const std::string& owner) {
  const std::lock_guard lock(mutex_);
  const auto found = accounts_.find(owner);
  if (--found->second.shares == 0) accounts_.erase(found);
}

bool MemoryBudget::HasRoom(const Account& account, std::size_t bytes, Size size) const {
  const std::lock_guard lock(mutex_);
  return limit_ == 0 || Fits(account.held, bytes, BoundFor(limit_, size) / kOwners);
}

bool MemoryBudget::Take(Account& account, std::size_t bytes, bool whatever, Size size) {
  const std::lock_guard lock(mutex_);
  const auto bound = BoundFor(limit_, size);
  const bool has_room = limit_ == 0 || (Fits(held_, bytes, bound) && Fits(account.held, bytes, bound / kOwners));
  if (!whatever && !has_room) return false;
  held_ += bytes;
  account.held += bytes;
  return true;
}

void MemoryBudget::Give(Account& account, std::size_t bytes) {
  std::shared_ptr<const std::function<void()>> listener;
  {
    const std::lock_guard lock(mutex_);
    held_ -= bytes;
    account.held -= bytes;
    listener = listener_;
  }
  if (listener) (*listener)();
}

MemoryShare::MemoryShare(std::string owner, MemoryBudget& budget)
    : budget_(budget), owner_(std::move(owner)), account_(budget.Open(owner_)) {}

MemoryShare::~MemoryShare() {
  Give(held_);
  budget_.Close(owner_);
}

bool MemoryShare::TryTake(std::size_t bytes, MemoryBudget::Size size) {
  if (!budget_.Take(*account_, bytes, false, size)) return false;
  Note(bytes);
  return true;
}

bool MemoryShare::OwnerHasRoom(std::size_t bytes, MemoryBudget::Size size) const {
  return budget_.HasRoom(*account_, bytes, size);
}

void MemoryShare::Take(std::size_t bytes) {
  budget_.Take(*account_, bytes, true, MemoryBudget::Size::kSmall);
  Note(bytes);
}

void MemoryShare::Give(std::size_t bytes) {
  bytes = std::min(bytes, held_);
  if (bytes == 0) return;
  held_ -= bytes;
  budget_.Give(*account_, bytes);
}

void MemoryShare::ShrinkTo(std::size_t bytes) {
  if (bytes < held_) Give(held_ - bytes);
}

void MemoryShare::Note(std::size_t bytes) {
  held_ += bytes;
  peak_ = std::max(peak_, held_);
}

}  // namespace platform
