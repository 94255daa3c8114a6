#pragma once

#include <exception>
#include <utility>

namespace platform {

/// Runs `work` at an edge that no exception may cross: the entry points of a plugin, callbacks of C libraries, a call
/// into code of others. Returns what `work` returns. When it throws, returns what `failed(reason)` returns, which also
/// reports the failure in the words of its caller; `reason` is the exception's text, valid within that call, or null
/// for one that is no std::exception. `failed` is the last resort: what it throws itself is not caught.
template <class Work, class Failed>
auto Guard(Work&& work, Failed&& failed) -> decltype(work()) {
  try {
    return std::forward<Work>(work)();
  } catch (const std::exception& fault) {
    return std::forward<Failed>(failed)(fault.what());
  } catch (...) {
    return std::forward<Failed>(failed)(nullptr);
  }
}

}  // namespace platform
