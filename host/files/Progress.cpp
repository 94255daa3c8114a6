#include "files/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace host {
namespace {

constexpr std::chrono::milliseconds kBetweenLines{200};
constexpr int kBarWidth = 30;
constexpr char kClearLine[] = "\r\x1b[K";

std::string Size(double bytes) {
  constexpr std::array kUnits = {"B", "KiB", "MiB", "GiB", "TiB"};
  std::size_t unit = 0;
  for (; bytes >= 1024 && unit + 1 < kUnits.size(); ++unit)
    bytes /= 1024;
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.1f %s", bytes, kUnits[unit]);
  return text.data();
}

std::string Hours(std::int64_t seconds) {
  std::array<char, 48> text;
  std::snprintf(text.data(), text.size(), "%lld:%02d:%02d", static_cast<long long>(seconds / 3600),
                static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
  return text.data();
}

}  // namespace

Progress::Progress(std::int64_t total) : is_shown_(isatty(STDERR_FILENO) != 0), total_(total) {}

Progress::~Progress() { Clear(); }

void Progress::Add(std::size_t bytes) {
  done_ += static_cast<std::int64_t>(bytes);
  const auto now = Clock::now();
  if (!is_shown_ || now < next_) return;
  next_ = now + kBetweenLines;
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - begin_);
  std::fprintf(stderr, "%s%s", kClearLine, Line(done_, total_, elapsed).c_str());
}

void Progress::Clear() {
  if (is_shown_) std::fputs(kClearLine, stderr);
}

std::string Progress::Line(std::int64_t done, std::int64_t total, std::chrono::milliseconds elapsed) {
  const auto part = total > 0 ? std::min(1.0, static_cast<double>(done) / static_cast<double>(total)) : 1.0;
  const auto filled = static_cast<int>(part * kBarWidth);
  const auto seconds = std::max(static_cast<double>(elapsed.count()) / 1000, 0.001);
  const auto rate = static_cast<double>(done) / seconds;
  const auto left =
      rate > 0 ? static_cast<std::int64_t>(static_cast<double>(std::max<std::int64_t>(total - done, 0)) / rate) : 0;
  return "[" + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(kBarWidth - filled), '.') + "] " + Size(static_cast<double>(done)) +
         " of " + Size(static_cast<double>(total)) + ", " + Size(rate) + "/s, " + Hours(left) + " left";
}

}  // namespace host
