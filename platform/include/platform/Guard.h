#pragma once

#include <exception>
#include <utility>

namespace platform {

/// Runs `work` at a boundary that no exception may cross: plugin entry points, callbacks of C libraries, calls into
/// foreign code. Returns the result of `work`. When it throws, returns the result of `failed(reason)`, in which the
/// caller also reports the failure; `reason` is the exception's text, valid during that call, or null when it is not a
/// std::exception. Exceptions thrown by `failed` are not caught.
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
