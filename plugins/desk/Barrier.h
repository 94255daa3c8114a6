#pragma once

#include <new>
#include <utility>

#include "DeskLog.h"
#include "Problems.h"
#include "platform/Guard.h"
#include "platform/HttpRoutes.h"

namespace desk {

/// Runs `work` at an entry point that foreign code calls; an exception ends here: it is logged, and `failed` returns
/// the result.
template <class Work, class Failed>
auto GuardEdge(Work&& work, Failed&& failed) {
  return platform::Guard(std::forward<Work>(work), [&](const char* reason) {
    DESK_LOG(kLogFailure, "Unexpected exception: %s", reason != nullptr ? reason : "of an unknown kind");
    return std::forward<Failed>(failed)();
  });
}

/// The function of a route, with an answer for its exceptions: 503 without memory, else 500.
template <class Run>
auto GuardRoute(Run run) {
  return [run = std::move(run)](const platform::HttpRequest& request) {
    const auto guarded = [&]() -> platform::HttpResponse {
      try {
        return run(request);
      } catch (const std::bad_alloc&) {
        return Unavailable();
      }
    };
    return GuardEdge(guarded, [] { return ProblemOfPair({0, -1}); });
  };
}

}  // namespace desk
