#pragma once

#include <algorithm>
#include <array>
#include <string_view>

#include "usrservice/UsrServiceEvidence.h"

/// The route table as data.
namespace Evidence {

inline constexpr char kBaseV0[] = "/TRELL/Halyard/BaseVideo/V0";
inline constexpr char kBaseV1[] = "/TRELL/Halyard/Evidence/V1";
inline constexpr char kBaseV2[] = "/TRELL/Halyard/Evidence/V2";
inline constexpr char kCapability[] = "s_basevideo_evidence_support";

/// How a route is registered. The meaning of a mode is up to the host; ours ignores it. The modes do not always match
/// the methods: a new guid is read in change mode, and files, batch links and histories are changed in read mode.
enum RouteMode : int { kReadMode = 0, kChangeMode = 2 };

using DispatcherFunction = void (CUsrServiceEvidence::*)(kelp::SHttpResponse&, const kelp::SHttpRequest&);

/// One registration.
struct Route {
  const char* base;
  const char* sub_path;
  int method_code;
  RouteMode mode;
  DispatcherFunction dispatcher;
  bool capability = false;
};

using Service = CUsrServiceEvidence;

inline constexpr std::array kRoutes{
    Route{kBaseV0, "/Evidence/Type", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence_Type, true},
    Route{kBaseV0, "/Evidence/Type", kelp::kMethodPut, kChangeMode, &Service::Evidence_Evidence_Type, true},
    Route{kBaseV1, "/Evidence/Type", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence_Type, true},
    Route{kBaseV1, "/Evidence/Type", kelp::kMethodPut, kChangeMode, &Service::Evidence_Evidence_Type, true},
    Route{kBaseV0, "/Evidence/Type/ID", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV0, "/Evidence/Type/ID", kelp::kMethodPut, kChangeMode, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV0, "/Evidence/Type/ID", kelp::kMethodDelete, kChangeMode, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV1, "/Evidence/Type/ID", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV1, "/Evidence/Type/ID", kelp::kMethodPut, kChangeMode, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV1, "/Evidence/Type/ID", kelp::kMethodDelete, kChangeMode, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV0, "/Evidence", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence},
    Route{kBaseV0, "/Evidence", kelp::kMethodPost, kChangeMode, &Service::Evidence_Evidence},
    Route{kBaseV0, "/Evidence", kelp::kMethodPut, kChangeMode, &Service::Evidence_Evidence},
    Route{kBaseV0, "/Evidence", kelp::kMethodDelete, kChangeMode, &Service::Evidence_Evidence},
    Route{kBaseV1, "/Evidence", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence},
    Route{kBaseV1, "/Evidence", kelp::kMethodPost, kChangeMode, &Service::Evidence_Evidence},
    Route{kBaseV1, "/Evidence", kelp::kMethodPut, kChangeMode, &Service::Evidence_Evidence},
    Route{kBaseV1, "/Evidence", kelp::kMethodDelete, kChangeMode, &Service::Evidence_Evidence},
    Route{kBaseV2, "/Evidence/GUID", kelp::kMethodGet, kChangeMode, &Service::Evidence_Evidence_GUID},
    Route{kBaseV0, "/Evidence/ID", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence_ID},
    Route{kBaseV0, "/Evidence/ID", kelp::kMethodPut, kChangeMode, &Service::Evidence_Evidence_ID},
    Route{kBaseV0, "/Evidence/ID", kelp::kMethodDelete, kChangeMode, &Service::Evidence_Evidence_ID},
    Route{kBaseV1, "/Evidence/ID", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence_ID},
    Route{kBaseV1, "/Evidence/ID", kelp::kMethodPut, kChangeMode, &Service::Evidence_Evidence_ID},
    Route{kBaseV1, "/Evidence/ID", kelp::kMethodDelete, kChangeMode, &Service::Evidence_Evidence_ID},
    Route{kBaseV1, "/Evidence/Custom", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence_Custom},
    Route{kBaseV1, "/Evidence/Custom", kelp::kMethodPut, kChangeMode, &Service::Evidence_Evidence_Custom},
    Route{kBaseV0, "/Evidence/ID/Files", kelp::kMethodPost, kReadMode, &Service::Evidence_Evidence_ID_Files},
    Route{kBaseV1, "/Evidence/ID/Files", kelp::kMethodPost, kReadMode, &Service::Evidence_Evidence_ID_Files},
    Route{kBaseV2, "/Evidence/ID/OperationLog", kelp::kMethodGet, kReadMode, &Service::Evidence_Evidence_OperationLog},
    Route{kBaseV2, "/Evidence/OperationLog", kelp::kMethodPost, kReadMode, &Service::Evidence_Evidence_OperationLog},
    Route{kBaseV2, "/Evidence/Files/BatchLinks", kelp::kMethodPost, kReadMode,
          &Service::Evidence_FilesBatchLinkEvidences},
    Route{kBaseV2, "/Evidence/Files/BatchLinks", kelp::kMethodPut, kReadMode,
          &Service::Evidence_FilesBatchLinkEvidences},
};
static_assert(kRoutes.size() == 33);

/// A path that is unregistered at shutdown, all methods at once.
struct RoutePath {
  const char* base;
  const char* sub_path;
};

inline constexpr std::array kRemovedPaths{
    RoutePath{kBaseV0, "/Evidence/Type"},
    RoutePath{kBaseV0, "/Evidence/Type/ID"},
    RoutePath{kBaseV0, "/Evidence"},
    RoutePath{kBaseV0, "/Evidence/ID"},
    RoutePath{kBaseV0, "/Evidence/ID/Files"},
    RoutePath{kBaseV1, "/Evidence/Type"},
    RoutePath{kBaseV1, "/Evidence/Type/ID"},
    RoutePath{kBaseV1, "/Evidence"},
    RoutePath{kBaseV1, "/Evidence/ID"},
    RoutePath{kBaseV1, "/Evidence/ID/Files"},
    RoutePath{kBaseV1, "/Evidence/Custom"},
    RoutePath{kBaseV2, "/Evidence/GUID"},
    RoutePath{kBaseV2, "/Evidence/ID/OperationLog"},
    RoutePath{kBaseV2, "/Evidence/OperationLog"},
    RoutePath{kBaseV2, "/Evidence/Files/BatchLinks"},
};
static_assert(kRemovedPaths.size() == 15);

constexpr bool IsPathOf(const RoutePath& path, const Route& route) {
  return std::string_view(path.base) == route.base && std::string_view(path.sub_path) == route.sub_path;
}

/// Whether every route is unregistered at shutdown, and no path is removed twice or without a registration.
constexpr bool RemovesWhatIsRegistered() {
  for (const Route& route : kRoutes) {
    if (std::ranges::count_if(kRemovedPaths, [&](const auto& path) { return IsPathOf(path, route); }) != 1)
      return false;
  }
  return std::ranges::all_of(kRemovedPaths, [](const auto& path) {
    return std::ranges::any_of(kRoutes, [&](const auto& route) { return IsPathOf(path, route); });
  });
}
static_assert(RemovesWhatIsRegistered());

}  // namespace Evidence
