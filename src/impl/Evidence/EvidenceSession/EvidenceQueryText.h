#pragma once

#include <string>

#include "impl/Evidence/EvidenceRecords.h"

namespace Evidence {

/// The two statements of one query of evidences.
struct EvidenceQueryText {
  std::string count;
  std::string page;
};

/// Builds both from the filter; the page statement asks for one row more than the page holds. Time texts stand in it as
/// they are: see HoldsUnsafeTime.
[[nodiscard]] EvidenceQueryText BuildEvidenceQuery(const _tag_EvidenceFilterInfo_& filter, const page_info& page);

/// Whether a time text of the filter holds a character that could leave its literal.
[[nodiscard]] bool HoldsUnsafeTime(const _tag_EvidenceFilterInfo_& filter);

}  // namespace Evidence
