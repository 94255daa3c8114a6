#pragma once

#include <cstdint>
#include <span>

#include "OrvBase/Export.h"

namespace platform {

/// What an error pair of an answer means, for people and for programs that think in HTTP's statuses.
struct ErrorWords {
  std::int32_t module;
  std::int32_t code;
  /// HTTP's status for the same.
  unsigned status;
  /// A few words of ASCII without quotes.
  const char* words;
  const char* what_to_do;
};

/// All pairs that answers have, but for success.
[[nodiscard]] PLATFORM_API std::span<const ErrorWords> AllErrorWords();

/// Null for an unknown pair.
[[nodiscard]] PLATFORM_API const ErrorWords* FindErrorWords(std::int64_t module, std::int64_t code);

}  // namespace platform
