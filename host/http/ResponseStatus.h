#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace host {

/// The error pair that an answer of a plugin begins with, as the numbers stand there: a pair that a plugin writes
/// without a sign has 4294967295 for -1. (0, 0) is no error.
struct ErrorPair {
  std::int64_t module = 0;
  std::int64_t code = 0;

  bool operator==(const ErrorPair&) const = default;
};

/// The pair of `{"ResponseStatus":{"ErrorModule":M,"ErrorCode":C…`, of which only this beginning is read. None for any
/// other body: an empty one, one with blanks, another order or another root, numbers of more than 64 bits.
[[nodiscard]] std::optional<ErrorPair> PairOf(std::string_view body);

}  // namespace host
