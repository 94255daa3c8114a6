#pragma once

#include <rapidjson/document.h>

#include <cstddef>
#include <string>

#include "OrvBase/Export.h"

namespace kelp {

/// Parses one JSON value into `out`, a fresh document. False when `text` is anything else or more, not valid
/// UTF-8 (escaped halves of surrogate pairs included), nested deeper than `max_depth`, or holds a number beyond
/// the range of a double; `fault_at` then gets the byte, from 0, at which that showed. Neither parsing nor the
/// document's end takes stack in proportion to the text.
[[nodiscard]] PLATFORM_API bool ParseJsonText(const std::string& text, int max_depth, rapidjson::Document& out,
                                              std::size_t* fault_at = nullptr);

}  // namespace kelp
