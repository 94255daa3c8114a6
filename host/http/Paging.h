#pragma once

#include <cstdint>
#include <optional>

#include "platform/HttpRoutes.h"

namespace host {

/// Which part of a list a request wants.
struct Page {
  /// How many items at most, from 1 to 1000.
  std::int64_t limit = 100;
  /// Those with a larger id.
  std::int64_t after = 0;
};

/// The page of the query's `limit` and `after`, each optional; none for values that are no such numbers. A larger limit
/// counts as the largest.
[[nodiscard]] std::optional<Page> PageOf(const platform::HttpRequest& request);

/// The answer to a request without a page.
[[nodiscard]] platform::HttpResponse WrongPage();

}  // namespace host
