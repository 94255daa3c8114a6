#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

/// The same line as an object of JSON: ts, level, tag; request_id and user of the request that this thread works for;
/// function, file and line when the text has them ("[function]… [file(line)]"); text, as it is in the other form.
/// `time` is "2026-01-31T23:59:59.999Z". What is not UTF-8 becomes U+FFFD. `left_out` bytes of the text were cut off.
std::string JsonLogLine(std::string_view time, int level, std::string_view tag, std::string_view text,
                        std::size_t left_out = 0);

}  // namespace platform
