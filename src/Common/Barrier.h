#pragma once

#include <exception>
#include <utility>

#include "Common/EvidenceLog.h"

namespace Evidence {

/// Runs `work` at an edge where the host enters; an exception ends here: it is logged, and `failed`
/// gives the result.
template <class Work, class Failed>
auto GuardEdge(Work&& work, Failed&& failed) {
  try {
    return std::forward<Work>(work)();
  } catch (const std::exception& fault) {
    EVIDENCE_LOG(kLogFailure, "[%s]Unexpected exception: %s.[%s(%d)]", fault.what());
  } catch (...) {
    EVIDENCE_LOG(kLogFailure, "[%s]Unexpected exception.[%s(%d)]");
  }
  return std::forward<Failed>(failed)();
}

}  // namespace Evidence
