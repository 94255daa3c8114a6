#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace host {

/// One line on a terminal that tells how far a long command is: bytes, rate and time left. On anything else it prints
/// nothing.
class Progress {
 public:
  explicit Progress(std::int64_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Add(std::size_t bytes);
  /// Removes the line, so that another can be printed in its place.
  void Clear();

  /// The line after `done` of `total` bytes in `elapsed`.
  [[nodiscard]] static std::string Line(std::int64_t done, std::int64_t total, std::chrono::milliseconds elapsed);

 private:
  using Clock = std::chrono::steady_clock;

  const bool is_shown_;
  const std::int64_t total_;
  const Clock::time_point begin_ = Clock::now();
  Clock::time_point next_ = begin_;
  std::int64_t done_ = 0;
};

}  // namespace host
