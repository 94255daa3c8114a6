#pragma once

#include <exception>
#include <utility>

#include "FileManagerLog.h"

namespace FileManager {

/// Runs `work` at an edge where somebody else's code enters; an exception ends here: it is logged, and `failed` gives
/// the result.
template <class Work, class Failed>
auto GuardEdge(Work&& work, Failed&& failed) {
  try {
    return std::forward<Work>(work)();
  } catch (const std::exception& fault) {
    FILE_MANAGER_LOG(kLogFailure, "Unexpected exception: %s", fault.what());
  } catch (...) {
    FILE_MANAGER_LOG(kLogFailure, "Unexpected exception");
  }
  return std::forward<Failed>(failed)();
}

}  // namespace FileManager
