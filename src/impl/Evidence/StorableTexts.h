#pragma once

#include "impl/Evidence/EvidenceRecords.h"

/// NUL is the one character that no column takes: a statement with it is refused, by then perhaps the second of three.
/// So every operation that writes or seeks texts of a client asks here first, and refuses a record with a NUL in any of
/// its texts with (0, 2) before anything is written.
namespace Evidence {

[[nodiscard]] bool HasStorableTexts(const _tag_Evidence_& evidence);
/// The names of an attribute's options; its own name has a rule of its own.
[[nodiscard]] bool HasStorableTexts(const tag_EvidenceCustom_& custom);
[[nodiscard]] bool HasStorableTexts(const _tag_EvidenceFile_& file);
/// Guid and keyword; times have a rule of their own.
[[nodiscard]] bool HasStorableTexts(const _tag_EvidenceFilterInfo_& filter);
[[nodiscard]] bool HasStorableTexts(const operation_record& record);

}  // namespace Evidence
