#pragma once

#include <memory>
#include <string>

#include "OrvBase/Export.h"

namespace TarnPlatform::Authentication {

/// What is known of a logged-in user. Immutable once handed out.
class CUserSession {
 public:
  CUserSession(std::string user_name, std::string client_address, int client_type)
      : user_name_(std::move(user_name)), client_address_(std::move(client_address)), client_type_(client_type) {}

  const std::string& GetValUserName() const { return user_name_; }
  /// The address the client's requests come from.
  const std::string& GetValClientAddress() const { return client_address_; }
  int GetValClientType() const { return client_type_; }

 private:
  std::string user_name_;
  std::string client_address_;
  int client_type_;
};

/// False, with `out` emptied, when the session is unknown or has ended.
[[nodiscard]] PLATFORM_API bool GetUserSession(std::shared_ptr<CUserSession>& out, const std::string& session);

/// The session's user name; false, with `out` untouched, when the session is unknown.
PLATFORM_API bool GetUsername(std::string& out, const std::string& session);

/// The session's client address; false, with `out` untouched, when the session or the address is unknown.
[[nodiscard]] PLATFORM_API bool GetClientAddress(std::string& out, const std::string& session);

/// Whether the session's user may do everything; false for an unknown session.
[[nodiscard]] PLATFORM_API bool IsSuperUser(const std::string& session);

}  // namespace TarnPlatform::Authentication
