#pragma once

#include <memory>

#include "accounts/AccountStates.h"
#include "accounts/FailedTries.h"
#include "accounts/Sessions.h"
#include "platform/HttpRoutes.h"

namespace host {

/// What the routes of accounts work on.
struct AccountParts {
  std::shared_ptr<Sessions> sessions;
  std::shared_ptr<AccountStates> accounts;
  std::shared_ptr<LoginTries> tries;
};

/// Registers, below /platform/v1/, for administrators:
///
///   GET   users       a page of all, `limit` and `after` as query;
///   GET   users/{id}  one;
///   POST  users       adds one, 201: user_name, and if wanted password, super_user, roles, permissions; without a
///                     password one is made and answered, once;
///   PATCH users/{id}  changes what is given of enabled, super_user, roles, permissions, password;
///
/// and for every caller
///
///   PUT session/password  {"old_password":"…","new_password":"…"}, 204; ends all his sessions.
///
/// A password that one user gives to another must be changed by the latter. Only a super user makes and changes super
/// users, and nobody else changes what he himself may do. A wrong old password counts like a wrong one of a login.
void RegisterUserRoutes(platform::IHttpRoutes& routes, const AccountParts& parts);

/// Registers GET /platform/v1/auth-events for auditors: the newest events first, with `user`, `since`, `until`, `limit`
/// and `after` as query.
void RegisterEventRoutes(platform::IHttpRoutes& routes);

}  // namespace host
