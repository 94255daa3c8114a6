#include "store/UploadHolds.h"

namespace FileManager {

UploadHolds::Hold::~Hold() {
  if (holds_ == nullptr) return;
  const std::lock_guard lock(holds_->mutex_);
  holds_->held_.erase(id_);
  holds_->let_go_.notify_all();
}

std::optional<UploadHolds::Hold> UploadHolds::Take(std::int32_t id, platform::HttpBodyReader* reader,
                                                   std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  // Under the lock, as the reader ends with its hold.
  if (const auto held = held_.find(id); held != held_.end() && held->second != nullptr) held->second->Break();
  if (!let_go_.wait_for(lock, patience, [&] { return !held_.contains(id); })) return std::nullopt;
  held_.emplace(id, reader);
  return std::optional<Hold>(std::in_place, *this, id);
}

std::optional<UploadHolds::Hold> UploadHolds::TryTake(std::int32_t id) {
  const std::lock_guard lock(mutex_);
  if (!held_.emplace(id, nullptr).second) return std::nullopt;
  return std::optional<Hold>(std::in_place, *this, id);
}

}  // namespace FileManager
