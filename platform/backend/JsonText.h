#pragma once

#include <cstddef>
#include <string>

#include "JsonAllocator.h"
#include "OrvBase/Export.h"

namespace kelp {

/// Limits of a text. Each value takes far more memory than its few bytes of text.
struct JsonBounds {
  int depth;
  std::size_t values = static_cast<std::size_t>(-1);
};

/// Why a text was refused.
struct JsonFault {
  /// Offset of the byte, from 0, at which it was detected.
  std::size_t at = 0;
  std::string reason;
};

/// Parses one JSON value into `out`, a fresh document. False when `text` is not exactly one, is not valid UTF-8
/// (escapes of unpaired surrogates included), exceeds `bounds`, or has a number beyond the range of a double; `fault`
/// then gives the reason. Stack use of parsing and destruction does not grow with the text. Throws
/// std::bad_alloc.
[[nodiscard]] PLATFORM_API bool ParseJsonText(const std::string& text, const JsonBounds& bounds, JsonDocument& out,
                                              JsonFault* fault = nullptr);

}  // namespace kelp
