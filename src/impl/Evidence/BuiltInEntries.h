#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>

namespace Evidence {

/// Entries below this id are built in. Their rows have no name until a user sets one; until then the localised name is
/// shown.
inline constexpr std::int32_t kFirstOwnId = 6;

inline bool IsUnnamedBuiltIn(std::int32_t id, const std::string& name) { return id < kFirstOwnId && name.empty(); }

using LanguageKey = std::pair<std::int32_t, const char*>;

inline constexpr std::array<LanguageKey, 6> kTypeKeys{{
    {0, "evidence_update_other"},
    {1, "evidence_update_theft"},
    {2, "evidence_update_rob"},
    {3, "evidence_update_attack"},
    {4, "evidence_update_missing_person"},
    {5, "evidence_update_suspicious_behavior"},
}};

inline constexpr std::array<LanguageKey, 3> kCustomKeys{{
    {1, "evidence_update_label"},
    {2, "evidence_update_scene"},
    {3, "evidence_update_outcome"},
}};

}  // namespace Evidence
