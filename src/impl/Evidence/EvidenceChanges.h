#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "impl/Evidence/EvidenceRecords.h"

/// What an edit changes in an evidence, field by field, as its history shows it. Pure functions.
namespace Evidence::Changes {

[[nodiscard]] change_item StatusChange(std::int32_t before, std::int32_t after);
[[nodiscard]] change_item TypeChange(std::int32_t before_id, const std::string& before_name, std::int32_t after_id,
                                     const std::string& after_name);

/// Adds an item for each text that differs, and one for a status that differs. The type is handled separately.
void AddFields(std::vector<change_item>& changes, const _tag_Evidence_& before, const _tag_Evidence_& after);

/// The name of an attribute's option by option id and attribute id; "" when there is none.
using OptionName = std::function<std::string(std::int32_t, std::int32_t)>;

/// Adds an item for each attribute value of `after` and each value of `before` of the same attribute whose texts
/// differ, and one for a value of a new attribute. Only the first option of a value counts. Where these items would be
/// too many, the square of some hundred values, the edit is recorded as a difference instead: an item for each text
/// removed and one for each added, so that an edit is never refused for its size and one that changes nothing adds
/// nothing.
void AddCustoms(std::vector<change_item>& changes, const _tag_Evidence_& before, const _tag_Evidence_& after,
                const OptionName& option_name);

}  // namespace Evidence::Changes
