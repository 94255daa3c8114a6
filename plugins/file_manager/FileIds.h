#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string_view>

namespace FileManager {

/// Ids in the order in which rows are locked, each one once.
using FileIds = std::set<std::int32_t>;

/// The id that `text` writes in decimal digits alone; none when it is anything else or beyond 2147483647.
[[nodiscard]] std::optional<std::int32_t> ParseFileId(std::string_view text);

/// The ids of "1,2,3"; none when a piece between the commas is no id, so also for the empty text.
[[nodiscard]] std::optional<FileIds> ParseFileIds(std::string_view text);

}  // namespace FileManager
