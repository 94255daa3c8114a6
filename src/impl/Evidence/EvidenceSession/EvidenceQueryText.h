#pragma once

#include <string>

#include "impl/Evidence/EvidenceRecords.h"

namespace Evidence {

/// The two statements of one query of evidences.
struct EvidenceQueryText {
  std::string count;
  std::string page;
};

/// Builds both from the filter; the page statement requests one row more than the page has. Time texts are inserted
/// unescaped: see HoldsUnsafeTime.
[[nodiscard]] EvidenceQueryText BuildEvidenceQuery(const _tag_EvidenceFilterInfo_& filter, const page_info& page);

/// Whether a time text of the filter contains a character that could end its literal.
[[nodiscard]] bool HoldsUnsafeTime(const _tag_EvidenceFilterInfo_& filter);

}  // namespace Evidence
