#pragma once

#include <string>
#include <string_view>

namespace FileManager {

/// "" or why a file must not have this name: it is empty, longer than 255 bytes, not UTF-8, has control characters or
/// parts of a path.
[[nodiscard]] std::string NameFault(std::string_view name);

/// `type` in lower case when it is a media type without parameters; "" when it is none.
[[nodiscard]] std::string MediaTypeOf(std::string_view type);

/// The Content-Disposition header (RFC 6266) of a file: what a browser may show without running anything is inline, all
/// else is to be saved. No name can end the header or add a parameter to it.
[[nodiscard]] std::string Disposition(std::string_view name, std::string_view media_type, bool may_show = true);

}  // namespace FileManager
