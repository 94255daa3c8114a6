#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Orv::Base::Utf8 {

/// Length in bytes (1 to 4) of the UTF-8 sequence that starts at `at`, which is inside `text`; 0 when none does.
/// Overlong forms, surrogates and values above U+10FFFF are invalid.
std::size_t SequenceLength(std::string_view text, std::size_t at);

/// Whether `text` consists of such sequences only.
bool IsValid(std::string_view text);

/// `text` with U+FFFD in place of each byte that does not start a valid sequence.
std::string Repaired(std::string_view text);

}  // namespace Orv::Base::Utf8
