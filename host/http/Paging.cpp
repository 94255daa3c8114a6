#include "http/Paging.h"

#include <algorithm>

#include "http/QueryFields.h"

namespace host {
namespace {

constexpr std::int64_t kLargestLimit = 1000;

}  // namespace

std::optional<Page> PageOf(const platform::HttpRequest& request) {
  std::optional<std::int64_t> limit;
  std::optional<std::int64_t> after;
  if (!TakeNumber(request, "limit", limit) || !TakeNumber(request, "after", after)) return std::nullopt;
  Page page;
  page.limit = std::min(limit.value_or(page.limit), kLargestLimit);
  page.after = after.value_or(page.after);
  return page.limit < 1 ? std::nullopt : std::optional(page);
}

platform::HttpResponse WrongPage() {
  return platform::HttpResponse::Problem(400, "wrong_page",
                                         "limit must be a number from 1 on, and after one that an answer gave.");
}

}  // namespace host
