#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

/// `size` bytes in lower-case hex.
[[nodiscard]] std::string ToHex(const unsigned char* bytes, std::size_t size);

/// Decodes lower-case hex of exactly `size` bytes; an upper-case digit is none, so that each value has one form. False,
/// with `bytes` in any state, for another text.
[[nodiscard]] bool FromHex(std::string_view hex, unsigned char* bytes, std::size_t size);

}  // namespace host
