#pragma once

#include <rapidjson/document.h>

#include <string>

namespace kelp {

/// Parses one JSON value into `out`, a fresh document. False when `text` is anything else or more, not valid
/// UTF-8 (escaped halves of surrogate pairs included), nested deeper than `max_depth`, or holds a number beyond
/// the range of a double. Neither parsing nor the document's end takes stack in proportion to the text.
bool ParseJsonText(const std::string& text, int max_depth, rapidjson::Document& out);

}  // namespace kelp
