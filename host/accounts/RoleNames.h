#pragma once

/// The built-in roles: names in platform.roles, and what routes ask for.
namespace host {

inline constexpr char kOperator[] = "operator";
inline constexpr char kSupervisor[] = "supervisor";
inline constexpr char kCustodian[] = "custodian";
inline constexpr char kAuditor[] = "auditor";
inline constexpr char kAdministrator[] = "administrator";

inline constexpr const char* kRoleNames[] = {kOperator, kSupervisor, kCustodian, kAuditor, kAdministrator};

}  // namespace host
