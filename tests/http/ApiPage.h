#pragma once

#include <string>
#include <vector>

namespace evidence_test {

using Lines = std::vector<std::string>;

/// docs/api.md: its examples and what its comments say about them, in their order, and its tables. What is replaced is
/// written to the file when the environment has WRITE_EXAMPLES, and compared with what stands there otherwise.
class ApiPage {
 public:
  /// A block between fences, or a comment.
  struct Step {
    /// Index of the first line between the fences.
    std::size_t begin = 0;
    /// The language of a block, "" for an example; "comment".
    std::string kind;
    Lines lines;
  };

  /// Throws std::runtime_error when there is no such file.
  explicit ApiPage(std::string file);

  /// In the order of the page.
  [[nodiscard]] std::vector<Step> Steps() const;
  /// Index of the first row of the table whose head begins with `head`. Throws std::runtime_error without one.
  [[nodiscard]] std::size_t RowsBelow(const std::string& head) const;
  /// The lines from `begin` that begin with `|`.
  [[nodiscard]] Lines Rows(std::size_t begin) const;

  /// The lines from `begin` should be `right` and are `present`: fails the test, or writes them at the end.
  void Expect(std::size_t begin, const Lines& present, const Lines& right);
  /// Writes the file when something is to be written.
  void Finish() const;

 private:
  struct Change {
    std::size_t begin;
    std::size_t size;
    Lines lines;
  };
  const std::string file_;
  Lines lines_;
  std::vector<Change> changes_;
};

/// `lines` with a line end between them.
std::string Joined(const Lines& lines);

}  // namespace evidence_test
