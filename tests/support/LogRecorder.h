#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Backend.h"

namespace evidence_test {

/// A log sink that keeps every line. Install it with platform::ScopedBackend<platform::ILogSink>.
class LogRecorder final : public platform::ILogSink {
 public:
  struct Line {
    int level;
    std::string tag;
    std::string text;
  };

  void Write(int level, std::string_view tag, std::string_view text) override {
    const std::lock_guard lock(mutex_);
    lines_.push_back({level, std::string(tag), std::string(text)});
  }

  /// The texts of one level and tag, in order.
  [[nodiscard]] std::vector<std::string> Texts(int level, std::string_view tag) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> texts;
    for (const Line& line : lines_) {
      if (line.level == level && line.tag == tag) texts.push_back(line.text);
    }
    return texts;
  }

 private:
  mutable std::mutex mutex_;
  // Under mutex_:
  std::vector<Line> lines_;
};

}  // namespace evidence_test
