#include "http/ApiPage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace evidence_test {

std::string Joined(const Lines& lines) {
  std::string text;
  for (const auto& line : lines)
    text += (text.empty() ? "" : "\n") + line;
  return text;
}

ApiPage::ApiPage(std::string file) : file_(std::move(file)) {
  std::ifstream stream(file_);
  for (std::string line; std::getline(stream, line);)
    lines_.push_back(line);
  if (lines_.empty()) throw std::runtime_error("no page " + file_);
}

std::vector<ApiPage::Step> ApiPage::Steps() const {
  std::vector<Step> steps;
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    if (lines_[i].starts_with("<!--") && lines_[i].ends_with(" -->")) {
      steps.push_back({i, "comment", {lines_[i].substr(5, lines_[i].size() - 9)}});
    } else if (lines_[i].starts_with("```") || lines_[i] == "<!--") {
      const bool is_block = lines_[i] != "<!--";
      Step step{i + 1, is_block ? lines_[i].substr(3) : "comment", {}};
      while (++i < lines_.size() && lines_[i] != (is_block ? "```" : "-->"))
        step.lines.push_back(lines_[i]);
      steps.push_back(step);
    }
  }
  return steps;
}

std::size_t ApiPage::RowsBelow(const std::string& head) const {
  const auto found = std::ranges::find_if(lines_, [&head](const auto& line) { return line.starts_with(head); });
  if (found == lines_.end()) throw std::runtime_error("no table " + head);
  return static_cast<std::size_t>(found - lines_.begin()) + 2;
}

Lines ApiPage::Rows(std::size_t begin) const {
  const auto first = lines_.begin() + static_cast<std::ptrdiff_t>(begin);
  return {first, std::find_if(first, lines_.end(), [](const auto& line) { return !line.starts_with("|"); })};
}

void ApiPage::Expect(std::size_t begin, const Lines& present, const Lines& right) {
  if (std::getenv("WRITE_EXAMPLES")) {
    changes_.push_back({begin, present.size(), right});
  } else {
    EXPECT_EQ(Joined(present), Joined(right)) << file_ << ":" << begin + 1 << "; scripts/api-examples writes it";
  }
}

void ApiPage::Finish() const {
  auto lines = lines_;
  auto changes = changes_;
  std::ranges::sort(changes, std::ranges::greater(), &Change::begin);
  for (const auto& change : changes) {
    const auto begin = lines.begin() + static_cast<std::ptrdiff_t>(change.begin);
    const auto place = lines.erase(begin, begin + static_cast<std::ptrdiff_t>(change.size));
    lines.insert(place, change.lines.begin(), change.lines.end());
  }
  if (!changes.empty()) std::ofstream(file_) << Joined(lines) << "\n";
}

}  // namespace evidence_test
