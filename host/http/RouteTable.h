#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "RealBackends.h"
#include "platform/HttpRoutes.h"

namespace host {

/// Where the routes of the table begin, but for those few of the host that are older.
inline constexpr std::string_view kRoutesBegin = "/platform/v1/";

/// The one table of HTTP routes. Rows are added on one thread while the host starts; once it is closed, any thread may
/// look them up.
class RouteTable final : public platform::IHttpRoutes {
 public:
  /// `plugin_paths` has what plugins registered on kelp::IMsgBus.
  explicit RouteTable(std::shared_ptr<const platform::IRouteTable> plugin_paths)
      : plugin_paths_(std::move(plugin_paths)) {}

  bool Register(platform::HttpRoute route) override;
  std::optional<std::string> CallPlugin(int method_code, std::string_view path, const std::string& session,
                                        std::string body) override;

  /// The same for a route of the host that stands elsewhere.
  void RegisterOutside(platform::HttpRoute route);

  /// Starts recording the rows of one plugin.
  void BeginPlugin();
  /// Removes the rows added since BeginPlugin.
  void DropPlugin();

  /// No more rows. "", or a sentence on the first row that was wrong.
  [[nodiscard]] std::string Close();

  /// All routes as "GET /login", in the order of their paths.
  [[nodiscard]] std::vector<std::string> Names() const;

  struct Match {
    const platform::HttpRoute* route;
    /// Percent-decoded.
    platform::HttpFields values;
  };
  /// There is no route for the method, but for these: the text of an Allow header.
  struct OtherMethods {
    std::string allow;
  };
  struct NoPath {};
  using Found = std::variant<NoPath, OtherMethods, Match>;
  /// The route for a method and a path as they were sent. What it points to lives as long as the table.
  [[nodiscard]] Found Find(std::string_view method, std::string_view path) const;

 private:
  /// All methods of one path.
  struct Row {
    bool is_below;
    std::vector<std::string> segments;
    std::vector<std::unique_ptr<const platform::HttpRoute>> routes;
  };

  bool Add(platform::HttpRoute route, std::string_view fault);
  std::string FaultOf(const platform::HttpRoute& route) const;
  const Row* FindRow(std::string_view path, platform::HttpFields& values) const;

  const std::shared_ptr<const platform::IRouteTable> plugin_paths_;
  std::mutex mutex_;
  // Written under mutex_, and not at all once the table is closed:
  std::vector<Row> rows_;
  std::vector<const platform::HttpRoute*> noted_;
  std::string fault_;
  bool closed_ = false;
};

/// Decodes the percent-encoding of `text`. False, with `text` unchanged, when it is broken or what it decodes to has a
/// control character or is not UTF-8.
[[nodiscard]] bool DecodePercent(std::string& text);

}  // namespace host
