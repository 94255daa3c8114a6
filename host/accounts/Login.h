#pragma once

#include <memory>
#include <string>

#include "accounts/AccountStates.h"
#include "accounts/FailedTries.h"
#include "accounts/Sessions.h"
#include "accounts/Users.h"
#include "platform/HttpRoutes.h"

namespace host {

/// `POST /login`, which opens sessions.
class Login {
 public:
  Login(std::shared_ptr<Sessions> sessions, std::shared_ptr<AccountStates> accounts, std::shared_ptr<LoginTries> tries)
      : sessions_(std::move(sessions)), accounts_(std::move(accounts)), tries_(std::move(tries)) {}

  /// The answer to one request.
  [[nodiscard]] platform::HttpResponse Run(const platform::HttpRequest& request) const;

 private:
  platform::HttpResponse OpenSession(const UserRecord& user, const std::string& client_address) const;

  const std::shared_ptr<Sessions> sessions_;
  const std::shared_ptr<AccountStates> accounts_;
  const std::shared_ptr<LoginTries> tries_;
};

}  // namespace host
