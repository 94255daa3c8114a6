#include "http/RouteTable.h"

#include <algorithm>
#include <array>
#include <ranges>

#include "OrvBase/StringUtil.h"
#include "accounts/RoleNames.h"

namespace host {
namespace {

using platform::HttpAccess;
using platform::HttpFields;
using platform::HttpPool;
using platform::HttpRoute;

constexpr std::array<std::string_view, 6> kMethods = {"GET", "QUERY", "PUT", "POST", "PATCH", "DELETE"};

std::vector<std::string> SegmentsOf(std::string_view path) {
  std::vector<std::string> segments;
  for (std::size_t at = path.find('/'); at != std::string_view::npos;) {
    const auto next = path.find('/', at + 1);
    segments.emplace_back(path.substr(at + 1, next == std::string_view::npos ? next : next - at - 1));
    at = next;
  }
  return segments;
}

/// "{name}" stands for any one segment.
bool IsName(std::string_view segment) {
  return segment.size() > 2 && segment.starts_with('{') && segment.ends_with('}');
}

std::string_view NameIn(std::string_view segment) { return segment.substr(1, segment.size() - 2); }

/// Whether both would be the pattern of the same paths.
bool AreAlike(const std::vector<std::string>& left, const std::vector<std::string>& right) {
  return std::ranges::equal(left, right, [](const auto& a, const auto& b) { return IsName(a) ? IsName(b) : a == b; });
}

/// Literal segments before names, so that the first row that matches is the most exact one.
bool GoesBefore(const std::vector<std::string>& left, const std::vector<std::string>& right) {
  return std::ranges::lexicographical_compare(left, right, [](const auto& a, const auto& b) {
    return std::pair(IsName(a), std::string_view(a)) < std::pair(IsName(b), std::string_view(b));
  });
}

/// Fills `values` with what stands for the names. Texts that cannot be decoded match no name.
bool Matches(const std::vector<std::string>& segments, std::string_view path, HttpFields& values) {
  for (const auto& expected : segments) {
    if (!path.starts_with('/')) return false;
    path.remove_prefix(1);
    const auto sent = path.substr(0, path.find('/'));
    path.remove_prefix(sent.size());
    if (!IsName(expected)) {
      if (sent != expected) return false;
      continue;
    }
    std::string value(sent);
    if (value.empty() || !DecodePercent(value)) return false;
    values.emplace_back(NameIn(expected), std::move(value));
  }
  return path.empty();
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsBelow(std::string_view path) { return path.starts_with(kRoutesBegin); }

bool IsRole(const std::string& role) { return std::ranges::find(kRoleNames, role) != std::end(kRoleNames); }

}  // namespace

bool DecodePercent(std::string& text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') {
      decoded += text[at];
      continue;
    }
    if (text.size() - at < 3) return false;
    const int high = HexDigit(text[at + 1]);
    const int low = HexDigit(text[at + 2]);
    if (high < 0 || low < 0) return false;
    decoded += static_cast<char>(high * 16 + low);
    at += 2;
  }
  if (Orv::Base::StringUtil::ContainsIllegalCharacters(decoded)) return false;
  text = std::move(decoded);
  return true;
}

bool RouteTable::Register(HttpRoute route) {
  const bool is_below = IsBelow(route.path);
  return Add(std::move(route), is_below ? "" : "stands outside of /platform/v1/");
}

void RouteTable::RegisterOutside(HttpRoute route) { static_cast<void>(Add(std::move(route), "")); }

bool RouteTable::Add(HttpRoute route, std::string_view fault) {
  const std::lock_guard lock(mutex_);
  auto reason = fault.empty() ? FaultOf(route) : std::string(fault);
  if (!reason.empty()) {
    if (fault_.empty()) fault_ = "the route " + route.method + " " + route.path + " " + reason;
    return false;
  }
  const bool is_below = IsBelow(route.path);
  auto segments = SegmentsOf(route.path);
  auto row = std::ranges::find_if(rows_, [&](const Row& known) { return AreAlike(known.segments, segments); });
  if (row == rows_.end()) {
    const auto place = std::ranges::upper_bound(rows_, segments, &GoesBefore, &Row::segments);
    row = rows_.insert(place, Row{is_below, std::move(segments), {}});
  }
  noted_.push_back(row->routes.emplace_back(std::make_unique<const HttpRoute>(std::move(route))).get());
  return true;
}

/// "" or what is wrong with it.
std::string RouteTable::FaultOf(const HttpRoute& route) const {
  if (closed_) return "came after the start";
  if (!route.path.starts_with('/') || !route.run) return "has no path or no function";
  if (std::ranges::find(kMethods, route.method) == kMethods.end()) return "has an unknown method";
  if (route.streams && (route.pool != HttpPool::kStreams || route.body_limit == 0)) {
    return "streams on other threads than those for that, or without a limit";
  }
  if (route.pool == HttpPool::kConnections && route.body_limit != 0) return "has a body, but no thread for it";
  const auto& roles = route.access.roles;
  if ((route.access.who == HttpAccess::Who::kRole) == roles.empty()) return "names roles without need, or none";
  for (const auto& role : roles) {
    if (!IsRole(role)) return "is for an unknown role, " + role;
  }
  const auto segments = SegmentsOf(route.path);
  for (const auto& row : rows_) {
    if (!AreAlike(row.segments, segments)) continue;
    if (row.segments != segments) return "has other names than the path has in another route";
    const auto is_same = [&](const auto& known) { return known->method == route.method; };
    if (std::ranges::any_of(row.routes, is_same)) return "is there twice";
  }
  return {};
}

void RouteTable::BeginPlugin() {
  const std::lock_guard lock(mutex_);
  noted_.clear();
}

void RouteTable::DropPlugin() {
  const std::lock_guard lock(mutex_);
  for (auto& row : rows_) {
    std::erase_if(row.routes,
                  [this](const auto& route) { return std::ranges::find(noted_, route.get()) != noted_.end(); });
  }
  std::erase_if(rows_, [](const Row& row) { return row.routes.empty(); });
  noted_.clear();
}

std::string RouteTable::Close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  return fault_;
}

std::vector<std::string> RouteTable::Names() const {
  std::vector<std::string> names;
  for (const auto& row : rows_) {
    for (const auto& route : row.routes)
      names.push_back(route->method + " " + route->path);
  }
  return names;
}

const RouteTable::Row* RouteTable::FindRow(std::string_view path, HttpFields& values) const {
  const bool is_below = IsBelow(path);
  for (const auto& row : rows_) {
    if (row.is_below != is_below) continue;
    values.clear();
    if (Matches(row.segments, path, values)) return &row;
  }
  return nullptr;
}

RouteTable::Found RouteTable::Find(std::string_view method, std::string_view path) const {
  HttpFields values;
  const auto* const row = FindRow(path, values);
  if (row == nullptr) return NoPath{};
  const auto wanted = method == "HEAD" ? "GET" : method;
  OtherMethods others;
  for (const auto& route : row->routes) {
    if (route->method == wanted) return Match{route.get(), std::move(values)};
    others.allow += (others.allow.empty() ? "" : ", ") + route->method;
  }
  return others;
}

std::optional<std::string> RouteTable::CallPlugin(int method_code, std::string_view path, const std::string& session,
                                                  std::string body) {
  // An empty session would make a trusted caller of whoever sent this.
  const auto match = session.empty() ? std::nullopt : plugin_paths_->Find(path);
  if (!match) return std::nullopt;
  kelp::SHttpResponse response;
  match->callback(response, {method_code, session, match->url_ids, std::move(body)});
  return std::move(response.response_body);
}

}  // namespace host
