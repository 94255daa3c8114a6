#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "ListRoute.h"
#include "RecordRoutes.h"
#include "Statistics.h"
#include "accounts/SessionRoutes.h"
#include "accounts/UserRoutes.h"
#include "http/HostRoutes.h"
#include "http/RouteTable.h"
#include "requests/RequestRoutes.h"
#include "store/FileRoutes.h"
#include "store/LocalStore.h"
#include "usrservice/Routes.h"

namespace evidence_test {

/// The routes of the host, of the desk and of the file manager, as "GET /platform/v1/evidence/{id}".
inline std::set<std::string> RoutesOfTheTable() {
  host::RouteTable routes(platform::MakeRouteTable());
  host::RegisterHostRoutes(routes, nullptr, {});
  host::RegisterSessionRoutes(routes, nullptr);
  host::RegisterUserRoutes(routes, {});
  host::RegisterEventRoutes(routes);
  host::RegisterRequestRoutes(routes);
  const bool of_desk =
      desk::RegisterRecordRoutes(routes) && desk::RegisterListRoute(routes) && desk::Statistics::RegisterRoute(routes);
  FileManager::LocalStore store("", 0);
  FileManager::Uploads uploads(store, {});
  const FileManager::Tickets tickets("key");
  const auto files = std::make_shared<const FileManager::FileParts>(FileManager::FileParts{store, uploads, tickets, 1});
  EXPECT_TRUE(of_desk && RegisterUploadRoutes(routes, files) && RegisterReadRoutes(routes, files));
  const auto names = routes.Names();
  return {names.begin(), names.end()};
}

/// Those of the evidence plugin in the same form.
inline std::set<std::string> RoutesOfThePlugin() {
  constexpr const char* kMethods[] = {"PUT", "POST", "DELETE", "GET"};
  std::set<std::string> names;
  for (const auto& route : Evidence::kRoutes) {
    names.insert(kMethods[route.method_code - 1] + (" " + std::string(route.base)) +
                 std::regex_replace(route.sub_path, std::regex("/ID(?=/|$)"), "/{id}"));
  }
  return names;
}

}  // namespace evidence_test
