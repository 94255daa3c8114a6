#pragma once

#include <memory>

#include "accounts/Sessions.h"
#include "platform/HttpRoutes.h"

namespace host {

/// Registers, below /platform/v1/, for every caller's own session:
///
///   GET    session         who he is, what he may do, and when the session ends;
///   DELETE session         logs out: 204;
///   POST   session/sealed  {"Text":"..."} gives {"Sealed":"..."}, the text enciphered under the session's key: 403
///                          unless the connection is private;
///
/// and for administrators, by the numbers of sessions, from which nobody gets into one:
///
///   GET    sessions        a page of all, `limit` and `after` as query;
///   GET    sessions/{n}    one;
///   DELETE sessions/{n}    ends it: 204.
void RegisterSessionRoutes(platform::IHttpRoutes& routes, const std::shared_ptr<Sessions>& sessions);

}  // namespace host
