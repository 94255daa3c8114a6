#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "OrvBase/Export.h"

namespace Orv::Base::StringUtil {

/// Code page number of UTF-8.
inline constexpr int kCodePageUtf8 = 65001;

/// printf-style formatting without a size limit. The format must be a constant, never a text that contains user data.
[[nodiscard]] PLATFORM_API std::string str_fmt(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Length of `text`: code points for code page 65001, bytes for any other. A byte that does not start a valid UTF-8
/// sequence counts as one.
[[nodiscard]] PLATFORM_API std::size_t str_len(std::string_view text, int code_page);

/// `text` with each occurrence of `from` replaced by `to`, scanning from left to right; inserted text is not scanned
/// again. An empty `from` changes nothing.
[[nodiscard]] PLATFORM_API std::string StringReplace(std::string_view text, std::string_view from, std::string_view to);

/// Whether `text` contains a control character below U+0020 other than TAB, LF and CR, U+007F, or is not valid UTF-8.
/// Quotes and other punctuation are legal.
[[nodiscard]] PLATFORM_API bool ContainsIllegalCharacters(std::string_view text);

}  // namespace Orv::Base::StringUtil
