#include "accounts/Login.h"

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
HttpResponse WrongPassword() { return Refused(401, "wrong user name or password"); }

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
      NoteRefusedTry(kEventLoginRefused, name, client_address, *tries_);
      return WrongPassword();
    case PasswordOutcome::kRight:
      break;
  }
  user_try->Succeeded();
  return OpenSession(user, client_address);
}

HttpResponse Login::OpenSession(const UserRecord& user, const std::string& client_address) const {
  // Opened first: whatever changes the account from now on ends or changes the session, too.
  const auto opened = sessions_->Open(user, client_address);
  if (!accounts_->RefreshUser(user.id)) {
    sessions_->End(opened.handle);
    return DatabaseAway();
  }
  const auto session = sessions_->Find(opened.handle);
  if (!session) return WrongPassword();
  LogHost(kLogProgress, "login: user %s, client %s, session %s", user.name.c_str(), client_address.c_str(),
          opened.handle.c_str());
  NoteAuthEvent({kEventLogin, user.name, "", client_address});
  // None of these needs an escape.
  auto answer = R"({"SessionID":")" + opened.token + R"(","SessionKey":")" + opened.key + '"';
  if (session->user.must_change_password) answer += R"(,"MustChangePassword":true)";
  return HttpResponse::Json(200, answer + '}');
}

}  // namespace host
