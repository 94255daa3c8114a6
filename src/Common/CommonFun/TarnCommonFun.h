#pragma once

#include <string>

namespace Evidence {

/// Permission checks shared by the request service and the manager. Stateless; any thread.
class CTarnCommonFun {
 public:
  /// Whether the session's user may change dictionaries under `code`, checked as a web client. An empty session is a
  /// caller inside the system and passes. False: (0, 10).
  [[nodiscard]] static bool CheckConfigPermission(const std::string& session, int code);

  /// Whether the session's user may work on evidences under `code`, checked as a CS client. Otherwise as above.
  [[nodiscard]] static bool CheckOperatePermission(const std::string& session, int code);
};

/// Codes for CheckConfigPermission.
inline constexpr int kPermissionAddType = 1423;
inline constexpr int kPermissionModifyType = 1424;
inline constexpr int kPermissionDeleteType = 1425;
inline constexpr int kPermissionAddCustom = 1427;
inline constexpr int kPermissionModifyCustom = 1428;
inline constexpr int kPermissionDeleteCustom = 1429;

/// Codes for CheckOperatePermission. Linking files changes an evidence.
inline constexpr int kPermissionChangeEvidence = 41;
inline constexpr int kPermissionAddEvidence = 44;

}  // namespace Evidence
