#include <algorithm>
#include <map>
#include <mutex>
#include <set>
#include <shared_mutex>
#include <string_view>
#include <utility>

#include "KelpUtils/Path.h"
#include "RealBackends.h"

namespace platform {
namespace {

constexpr std::string_view kIdSegment = "ID";

/// The segments of a path after its first "/"; "/A/" has the two segments "A" and "".
using Segments = std::vector<std::string>;

Segments SegmentsOf(std::string_view path) {
  Segments segments;
  while (path.starts_with('/')) {
    path.remove_prefix(1);
    segments.emplace_back(path.substr(0, path.find('/')));
    path.remove_prefix(segments.back().size());
  }
  return segments;
}

/// Whether `path` matches the route; appends the numbers of its ID segments to `url_ids`. Examines no more segments
/// than the route has, the last ones first, as many routes begin alike.
bool Matches(const Segments& route, std::string_view path, std::vector<std::int32_t>& url_ids) {
  for (auto expected = route.rbegin(); expected != route.rend(); ++expected) {
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos) return false;
    const std::string_view segment = path.substr(slash + 1);
    path = path.substr(0, slash);
    if (*expected == kIdSegment) {
      std::int32_t id = 0;
      if (!kelp::ReadDecimal(segment, id)) return false;
      url_ids.push_back(id);
    } else if (segment != *expected) {
      return false;
    }
  }
  std::ranges::reverse(url_ids);
  return path.empty();
}

class RouteTable final : public IRouteTable {
 public:
  bool RegisterUrl(const std::string& url, int method_code, int route_mode,
                   const kelp::UrlCallback& callback) override {
    return RegisterUrlWithCapability(url, method_code, route_mode, callback, {});
  }

  /// Modes and capabilities are the platform's own and have no effect here.
  bool RegisterUrlWithCapability(const std::string& url, int method_code, int, const kelp::UrlCallback& callback,
                                 const std::string&) override {
    if (!url.starts_with('/') || !callback) return false;
    const std::unique_lock lock(mutex_);
    Route& route = routes_[SegmentsOf(url)];
    if (!route.methods.insert(method_code).second) return false;
    if (!route.callback) route.callback = callback;
    return true;
  }

  bool UnRegisterUrl(const std::string& url) override {
    if (!url.starts_with('/')) return false;
    const std::unique_lock lock(mutex_);
    return routes_.erase(SegmentsOf(url)) == 1;
  }

  std::optional<Match> Find(std::string_view path) const override {
    const std::shared_lock lock(mutex_);
    for (const auto& [segments, route] : routes_) {
      std::vector<std::int32_t> url_ids;
      if (Matches(segments, path, url_ids)) return Match{route.callback, std::move(url_ids)};
    }
    return std::nullopt;
  }

 private:
  struct Route {
    /// Of the first registration; it checks the method itself.
    kelp::UrlCallback callback;
    std::set<int> methods;
  };

  mutable std::shared_mutex mutex_;
  /// In this order a numeric literal comes before "ID", as digits and "-" sort before letters; so of two routes that
  /// match a path the first is the right one.
  std::map<Segments, Route> routes_;
};

}  // namespace

std::shared_ptr<IRouteTable> MakeRouteTable() { return std::make_shared<RouteTable>(); }

}  // namespace platform
