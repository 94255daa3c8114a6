#include "http/BodyStream.h"

#include <algorithm>

namespace host {
namespace {

/// Large enough that the two threads seldom wait for each other.
constexpr std::size_t kMostHeld = 256 * 1024;

}  // namespace

std::int64_t BodyStream::Read(char* to, std::size_t size) {
  std::size_t count = 0;
  bool has_room_again = false;
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return read_ < held_.size() || ended_ || broken_; });
    if (broken_) return -1;
    count = std::min(size, held_.size() - read_);
    held_.copy(to, count, read_);
    read_ += count;
    if (read_ == held_.size()) {
      held_.clear();
      read_ = 0;
      has_room_again = std::exchange(has_rest_, false);
    }
  }
  if (has_room_again) drained_();
  return static_cast<std::int64_t>(count);
}

std::size_t BodyStream::Put(std::string_view data) {
  const std::lock_guard lock(mutex_);
  if (broken_) return data.size();
  const auto taken = std::min(data.size(), kMostHeld - held_.size());
  held_.append(data.substr(0, taken));
  has_rest_ = taken < data.size();
  changed_.notify_one();
  return taken;
}

void BodyStream::End() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  changed_.notify_one();
}

void BodyStream::Break() {
  const std::lock_guard lock(mutex_);
  broken_ = !ended_;
  changed_.notify_one();
}

}  // namespace host
