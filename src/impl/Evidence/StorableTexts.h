#pragma once

#include "impl/Evidence/EvidenceRecords.h"

/// No column accepts the NUL character: a statement with it fails, perhaps as the second of three. So every operation
/// that writes or searches texts of a client calls these first, and refuses a record with a NUL in any of its texts
/// with (0, 2) before anything is written.
namespace Evidence {

[[nodiscard]] bool HasStorableTexts(const _tag_Evidence_& evidence);
/// The names of an attribute's options; its own name has its own rule.
[[nodiscard]] bool HasStorableTexts(const tag_EvidenceCustom_& custom);
[[nodiscard]] bool HasStorableTexts(const _tag_EvidenceFile_& file);
/// Guid and keyword; times have their own rule.
[[nodiscard]] bool HasStorableTexts(const _tag_EvidenceFilterInfo_& filter);
[[nodiscard]] bool HasStorableTexts(const operation_record& record);

}  // namespace Evidence
