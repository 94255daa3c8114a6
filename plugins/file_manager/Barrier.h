#pragma once

#include <utility>

#include "FileManagerLog.h"
#include "platform/Guard.h"

namespace FileManager {

/// Runs `work` at an entry point that foreign code calls; an exception ends here: it is logged, and `failed` returns
/// the result.
template <class Work, class Failed>
auto GuardEdge(Work&& work, Failed&& failed) {
  return platform::Guard(std::forward<Work>(work), [&](const char* reason) {
    if (reason != nullptr) {
      FILE_MANAGER_LOG(kLogFailure, "Unexpected exception: %s", reason);
    } else {
      FILE_MANAGER_LOG(kLogFailure, "Unexpected exception");
    }
    return std::forward<Failed>(failed)();
  });
}

}  // namespace FileManager
