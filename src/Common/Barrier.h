#pragma once

#include <utility>

#include "Common/EvidenceLog.h"
#include "platform/Guard.h"

namespace Evidence {

/// Runs `work` at an entry point of the host. No exception leaves it: it is logged, and the result of `failed` is
/// returned.
template <class Work, class Failed>
auto GuardEdge(Work&& work, Failed&& failed, Operation operation = Operation::current()) {
  return platform::Guard(std::forward<Work>(work), [&](const char* reason) {
    if (reason != nullptr) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Unexpected exception: %s.[%s(%d)]", reason);
    } else {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Unexpected exception.[%s(%d)]");
    }
    return std::forward<Failed>(failed)();
  });
}

}  // namespace Evidence
