#include "http/Paging.h"

#include <algorithm>

namespace host {
namespace {

constexpr std::int64_t kLargestLimit = 1000;

/// Puts the query's number into `value`; false when what is there is none.
bool Take(const platform::HttpRequest& request, const char* name, std::int64_t& value) {
  const auto number = platform::NumberIn(request.query, name);
  if (number) value = *number;
  return number || !platform::FieldOf(request.query, name);
}

}  // namespace

std::optional<Page> PageOf(const platform::HttpRequest& request) {
  Page page;
  if (!Take(request, "limit", page.limit) || !Take(request, "after", page.after) || page.limit < 1) return std::nullopt;
  page.limit = std::min(page.limit, kLargestLimit);
  return page;
}

platform::HttpResponse WrongPage() {
  return platform::HttpResponse::Problem(400, "wrong_page",
                                         "limit must be a number from 1 on, and after one that an answer gave.");
}

}  // namespace host
