#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {

/// Names texts by how they begin: a text has the name of the longest beginning that it has. Names are numbered, those
/// of texts with another beginning last. Looking up costs a few comparisons. Immutable.
class Beginnings {
 public:
  struct Row {
    std::string beginning;
    std::string name;
  };

  /// `other` is the name of texts with none of the beginnings.
  explicit Beginnings(std::vector<Row> rows = {}, std::string other = "other") {
    std::ranges::sort(rows, {}, &Row::beginning);
    for (auto& [beginning, name] : rows) {
      const auto known = static_cast<std::size_t>(std::ranges::find(names_, name) - names_.begin());
      if (known == names_.size()) names_.push_back(std::move(name));
      const auto shorter = LongestOf(beginning);
      entries_.push_back({std::move(beginning), known, shorter});
    }
    names_.push_back(std::move(other));
  }

  /// All names, each once, in the order of their numbers.
  [[nodiscard]] const std::vector<std::string>& names() const { return names_; }

  /// The number of the text's name.
  [[nodiscard]] std::size_t NumberOf(std::string_view text) const {
    const auto found = LongestOf(text);
    return found == kNone ? names_.size() - 1 : entries_[found].name;
  }

 private:
  static constexpr auto kNone = static_cast<std::size_t>(-1);

  struct Entry {
    std::string beginning;
    std::size_t name;
    /// The longest other entry that this one begins with.
    std::size_t shorter;
  };

  [[nodiscard]] std::size_t LongestOf(std::string_view text) const {
    const auto behind = std::ranges::upper_bound(entries_, text, {}, &Entry::beginning);
    auto at = static_cast<std::size_t>(behind - entries_.begin()) - 1;
    while (at != kNone && !text.starts_with(entries_[at].beginning))
      at = entries_[at].shorter;
    return at;
  }

  std::vector<Entry> entries_;
  std::vector<std::string> names_;
};

}  // namespace platform
