#pragma once

#include <cstdint>

namespace Evidence {

/// Source types under which the platform stores the changes of the dictionaries.
inline constexpr std::int32_t kIncreTypes = 13001;
inline constexpr std::int32_t kIncreCustoms = 13005;

/// Kinds of change.
inline constexpr std::int32_t kIncreAdd = 0;
inline constexpr std::int32_t kIncreModify = 1;
inline constexpr std::int32_t kIncreDelete = 2;
/// Written by others; the entry is live, as after a modify.
inline constexpr std::int32_t kIncreOther = 4;

/// Whether the entry is live after a change.
constexpr bool IsIncreOfLiveEntry(int method) {
  return method == kIncreAdd || method == kIncreModify || method == kIncreOther;
}

}  // namespace Evidence
