#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string_view>

namespace FileManager {

/// Unique ids, in the order in which rows are locked.
using FileIds = std::set<std::int32_t>;

/// The id in `text`, decimal digits only; none when it is anything else or above 2147483647.
[[nodiscard]] std::optional<std::int32_t> ParseFileId(std::string_view text);

/// The ids of "1,2,3"; none when an item is not an id, as in the empty text.
[[nodiscard]] std::optional<FileIds> ParseFileIds(std::string_view text);

}  // namespace FileManager
