#pragma once

#include <rapidjson/document.h>

#include <cstddef>
#include <string>

#include "OrvBase/Export.h"

namespace kelp {

/// What a text may hold at most. Each value takes far more memory than its few bytes of text.
struct JsonBounds {
  int depth;
  std::size_t values = static_cast<std::size_t>(-1);
};

/// Why a text was refused.
struct JsonFault {
  /// The byte, from 0, at which it showed.
  std::size_t at = 0;
  std::string reason;
};

/// Parses one JSON value into `out`, a fresh document. False when `text` is anything else or more, not valid
/// UTF-8 (escaped halves of surrogate pairs included), out of `bounds`, or holds a number beyond the range of a double;
/// `fault` then says which. Neither parsing nor the document's end takes stack in proportion to the text.
[[nodiscard]] PLATFORM_API bool ParseJsonText(const std::string& text, const JsonBounds& bounds,
                                              rapidjson::Document& out, JsonFault* fault = nullptr);

}  // namespace kelp
