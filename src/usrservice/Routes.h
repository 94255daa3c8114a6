#pragma once

#include <array>

#include "usrservice/UsrServiceEvidence.h"

/// The route table as data.
namespace Evidence {

inline constexpr char kBaseV0[] = "/TRELL/Halyard/BaseVideo/V0";
inline constexpr char kBaseV1[] = "/TRELL/Halyard/Evidence/V1";
inline constexpr char kBaseV2[] = "/TRELL/Halyard/Evidence/V2";
inline constexpr char kCapability[] = "s_basevideo_evidence_support";

using DispatcherFunction = void (CUsrServiceEvidence::*)(kelp::SHttpResponse&, const kelp::SHttpRequest&);

/// One registration.
struct Route {
  const char* base;
  const char* sub_path;
  int method_code;
  int route_mode;
  DispatcherFunction dispatcher;
  bool capability = false;
};

using Service = CUsrServiceEvidence;

inline constexpr std::array kRoutes{
    Route{kBaseV0, "/Evidence/Type", kelp::kMethodGet, 0, &Service::Evidence_Evidence_Type, true},
    Route{kBaseV0, "/Evidence/Type", kelp::kMethodPut, 2, &Service::Evidence_Evidence_Type, true},
    Route{kBaseV1, "/Evidence/Type", kelp::kMethodGet, 0, &Service::Evidence_Evidence_Type, true},
    Route{kBaseV1, "/Evidence/Type", kelp::kMethodPut, 2, &Service::Evidence_Evidence_Type, true},
    Route{kBaseV0, "/Evidence/Type/ID", kelp::kMethodGet, 0, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV0, "/Evidence/Type/ID", kelp::kMethodPut, 2, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV0, "/Evidence/Type/ID", kelp::kMethodDelete, 2, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV1, "/Evidence/Type/ID", kelp::kMethodGet, 0, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV1, "/Evidence/Type/ID", kelp::kMethodPut, 2, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV1, "/Evidence/Type/ID", kelp::kMethodDelete, 2, &Service::Evidence_Evidence_Type_ID},
    Route{kBaseV0, "/Evidence", kelp::kMethodGet, 0, &Service::Evidence_Evidence},
    Route{kBaseV0, "/Evidence", kelp::kMethodPost, 2, &Service::Evidence_Evidence},
    Route{kBaseV0, "/Evidence", kelp::kMethodPut, 2, &Service::Evidence_Evidence},
    Route{kBaseV0, "/Evidence", kelp::kMethodDelete, 2, &Service::Evidence_Evidence},
    Route{kBaseV1, "/Evidence", kelp::kMethodGet, 0, &Service::Evidence_Evidence},
    Route{kBaseV1, "/Evidence", kelp::kMethodPost, 2, &Service::Evidence_Evidence},
    Route{kBaseV1, "/Evidence", kelp::kMethodPut, 2, &Service::Evidence_Evidence},
    Route{kBaseV1, "/Evidence", kelp::kMethodDelete, 2, &Service::Evidence_Evidence},
    Route{kBaseV2, "/Evidence/GUID", kelp::kMethodGet, 2, &Service::Evidence_Evidence_GUID},
    Route{kBaseV0, "/Evidence/ID", kelp::kMethodGet, 0, &Service::Evidence_Evidence_ID},
    Route{kBaseV0, "/Evidence/ID", kelp::kMethodPut, 2, &Service::Evidence_Evidence_ID},
    Route{kBaseV0, "/Evidence/ID", kelp::kMethodDelete, 2, &Service::Evidence_Evidence_ID},
    Route{kBaseV1, "/Evidence/ID", kelp::kMethodGet, 0, &Service::Evidence_Evidence_ID},
    Route{kBaseV1, "/Evidence/ID", kelp::kMethodPut, 2, &Service::Evidence_Evidence_ID},
    Route{kBaseV1, "/Evidence/ID", kelp::kMethodDelete, 2, &Service::Evidence_Evidence_ID},
    Route{kBaseV1, "/Evidence/Custom", kelp::kMethodGet, 0, &Service::Evidence_Evidence_Custom},
    Route{kBaseV1, "/Evidence/Custom", kelp::kMethodPut, 2, &Service::Evidence_Evidence_Custom},
    Route{kBaseV0, "/Evidence/ID/Files", kelp::kMethodPost, 0, &Service::Evidence_Evidence_ID_Files},
    Route{kBaseV1, "/Evidence/ID/Files", kelp::kMethodPost, 0, &Service::Evidence_Evidence_ID_Files},
    Route{kBaseV2, "/Evidence/ID/OperationLog", kelp::kMethodGet, 0, &Service::Evidence_Evidence_OperationLog},
    Route{kBaseV2, "/Evidence/OperationLog", kelp::kMethodPost, 0, &Service::Evidence_Evidence_OperationLog},
    Route{kBaseV2, "/Evidence/Files/BatchLinks", kelp::kMethodPost, 0, &Service::Evidence_FilesBatchLinkEvidences},
    Route{kBaseV2, "/Evidence/Files/BatchLinks", kelp::kMethodPut, 0, &Service::Evidence_FilesBatchLinkEvidences},
};
static_assert(kRoutes.size() == 33);

/// A path whose registrations go at the stop, all methods at once.
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

}  // namespace Evidence
