#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Orv::Base::Utf8 {

/// Length in bytes (1 to 4) of the UTF-8 sequence that begins at `at`, which lies inside `text`; 0 when none does.
/// Overlong forms, surrogates and values above U+10FFFF are no sequences.
std::size_t SequenceLength(std::string_view text, std::size_t at);

/// Whether `text` is made of such sequences alone.
bool IsValid(std::string_view text);

/// `text` with U+FFFD in place of each byte that begins no valid sequence.
std::string Repaired(std::string_view text);

}  // namespace Orv::Base::Utf8
