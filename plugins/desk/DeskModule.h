#pragma once

namespace desk {

/// The plugin: whole evidences for those who edit them, lists by query parameters, and counts. It starts after the
/// evidence plugin, whose operations its routes run. Start and Stop are not thread-safe.
class DeskModule {
 public:
  static DeskModule& Instance();

  /// Creates the database pools and registers the routes. False, logged, when the database is unreachable or a route is
  /// refused; what was done remains until Stop.
  [[nodiscard]] bool Start();

  /// Closes the pools. No request runs any more.
  void Stop();

 private:
  bool has_pools_ = false;
};

}  // namespace desk
