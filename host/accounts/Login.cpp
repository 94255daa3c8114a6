#include "accounts/Login.h"

#include <utility>

#include "HostLog.h"
#include "KelpUtils/RapidJsonProto.h"
#include "accounts/AuthEvents.h"

namespace host {
namespace {

using platform::HttpResponse;

/// This path is older than the others and answers errors in its own way.
HttpResponse Refused(unsigned status, const std::string& reason) {
  return HttpResponse::Json(status, "{\"Error\":\"" + reason + "\"}");
}

HttpResponse DatabaseAway() { return Refused(503, "database away"); }

}  // namespace

HttpResponse Login::Run(const platform::HttpRequest& request) const {
  const auto& client_address = request.client_address;
  kelp::CRapidJsonProto body;
  if (!body.set_str(request.body)) return Refused(400, "no JSON");
  const auto name = body.get_v("/UserName", "");
  // The address first: a caller that waits for the user's try holds the address's, never the reverse.
  auto client_try = tries_->clients.Begin(client_address);
  auto user_try = client_try ? tries_->users.Begin(name) : std::nullopt;
  if (!user_try) {
    LogHost(kLogAnomaly, "login not tried after too many failed ones: client %s", client_address.c_str());
    return Refused(429, "too many failed tries");
  }
  UserRecord user;
  switch (CheckPassword(name, body.get_v("/Password", ""), user)) {
    case PasswordOutcome::kDatabaseAway:
      return DatabaseAway();
    case PasswordOutcome::kWrong:
    case PasswordOutcome::kDisabled:
      // Counted alike, so that a login does not reveal that an account is disabled.
      user_try->Failed();
      client_try->Failed();
      LogHost(kLogAnomaly, "login refused: client %s", client_address.c_str());
      NoteRefusal(name, client_address);
      return Refused(401, "wrong user name or password");
    case PasswordOutcome::kRight:
      break;
  }
  user_try->Succeeded();
  return OpenSession(std::move(user), client_address);
}

void Login::NoteRefusal(const std::string& name, const std::string& client_address) const {
  NoteAuthEvent({kEventLoginRefused, name, "", client_address});
  if (tries_->users.IsFrozen(name)) NoteAuthEvent({kEventFreeze, name, "", client_address, "", "the user"});
  if (tries_->clients.IsFrozen(client_address)) {
    NoteAuthEvent({kEventFreeze, name, "", client_address, "", "the client's address"});
  }
}

HttpResponse Login::OpenSession(UserRecord user, const std::string& client_address) const {
  if (!ReadPermissions(user)) return DatabaseAway();
  LogHost(kLogProgress, "login: user %s, client %s", user.name.c_str(), client_address.c_str());
  NoteAuthEvent({kEventLogin, user.name, "", client_address});
  const auto opened = sessions_->Open(std::move(user), client_address);
  kelp::CRapidJsonProto answer;
  answer.set_v("/SessionID", opened.id);
  answer.set_v("/SessionKey", opened.key);
  return HttpResponse::Json(200, answer.get_str());
}

}  // namespace host
