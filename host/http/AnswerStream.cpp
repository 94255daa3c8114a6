#include "http/AnswerStream.h"

#include <algorithm>

namespace host {
namespace {

/// Large enough that the two threads seldom wait for each other.
constexpr std::size_t kMostHeld = 256 * 1024;

}  // namespace

bool AnswerStream::Write(std::string_view text) {
  while (!text.empty()) {
    bool was_awaited = false;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return held_.size() < kMostHeld || closed_; });
      if (closed_) return false;
      const auto part = text.substr(0, kMostHeld - held_.size());
      held_.append(part);
      text.remove_prefix(part.size());
      was_awaited = std::exchange(is_awaited_, false);
    }
    if (was_awaited) filled_();
  }
  return true;
}

void AnswerStream::End(bool is_whole) {
  bool was_awaited = false;
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    cut_off_ = cut_off_ || !is_whole;
    was_awaited = std::exchange(is_awaited_, false);
  }
  if (was_awaited) filled_();
}

AnswerStream::State AnswerStream::Take(char* to, std::size_t size, std::size_t& taken) {
  const std::lock_guard lock(mutex_);
  if (taken_ == held_.size()) {
    if (cut_off_ || closed_) return State::kCutOff;
    is_awaited_ = !ended_;
    return ended_ ? State::kEnd : State::kNothingYet;
  }
  taken = held_.copy(to, size, taken_);
  taken_ += taken;
  if (taken_ == held_.size()) {
    held_.clear();
    taken_ = 0;
    changed_.notify_one();
  }
  return State::kMore;
}

void AnswerStream::Close() {
  bool was_awaited = false;
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    was_awaited = std::exchange(is_awaited_, false);
    changed_.notify_one();
  }
  if (was_awaited) filled_();
}

}  // namespace host
