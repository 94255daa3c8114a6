#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Backend.h"
#include "support/OperationNames.h"

namespace evidence_test {

/// A log sink that keeps every line, and looks at the names in those of the evidence plugin. Install it with
/// platform::ScopedBackend<platform::ILogSink>.
class LogRecorder final : public platform::ILogSink {
 public:
  struct Line {
    int level;
    std::string tag;
    std::string text;
  };

  void Write(int level, std::string_view tag, std::string_view text) override {
    if (tag.starts_with("casefile.s")) ExpectNameOfOperation(text);
    const std::lock_guard lock(mutex_);
    lines_.push_back({level, std::string(tag), std::string(text)});
  }

  [[nodiscard]] std::vector<Line> Lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

  /// The texts of one level and tag, in order.
  [[nodiscard]] std::vector<std::string> Texts(int level, std::string_view tag) const {
    std::vector<std::string> texts;
    for (const Line& line : Lines()) {
      if (line.level == level && line.tag == tag) texts.push_back(line.text);
    }
    return texts;
  }

  /// Whether a line of this level holds `part`.
  [[nodiscard]] bool Has(int level, std::string_view part) const {
    return std::ranges::any_of(
        Lines(), [&](const Line& line) { return line.level == level && line.text.find(part) != std::string::npos; });
  }

  void Clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
  }

 private:
  mutable std::mutex mutex_;
  // Under mutex_:
  std::vector<Line> lines_;
};

}  // namespace evidence_test
