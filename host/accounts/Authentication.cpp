#include "accounts/Authentication.h"

#include <string>
#include <utility>

#include "accounts/Accounts.h"
#include "accounts/AuthEvents.h"
#include "accounts/SealedText.h"
#include "accounts/Secrets.h"
#include "accounts/Users.h"
#include "platform/RequestContext.h"

namespace host {
namespace {

using namespace TarnPlatform::Authentication;

constexpr int kRight = 0;
constexpr int kNoUser = -1;

/// The session as this thread's request sees it: many come from where the login came from, and share one object.
std::shared_ptr<CUserSession> SeenByRequest(const std::shared_ptr<CUserSession>& login) {
  const auto* const request = platform::RequestContext::Current();
  if (request == nullptr || request->client_address == login->GetValLoginAddress()) return login;
  return std::make_shared<CUserSession>(login->GetValUserID(), login->GetValUserName(), request->client_address,
                                        login->GetValLoginAddress(), login->GetValClientType());
}

class Authentication final : public platform::IAuthenticationBackend {
 public:
  Authentication(std::shared_ptr<const Sessions> sessions, std::shared_ptr<LoginTries> tries)
      : sessions_(std::move(sessions)), tries_(std::move(tries)) {}

  std::shared_ptr<CUserSession> FindSession(const std::string& id) override {
    const auto session = sessions_->Find(id);
    return session ? SeenByRequest(session->seen_by_plugins) : nullptr;
  }

  bool IsSuperUser(const std::string& id) override {
    const auto session = sessions_->Find(id);
    return session && session->user.super_user;
  }

  bool CheckPassword(std::shared_ptr<CLoginResponse>& out, const CLoginRequest& request) override;

  void AddLoginFailCount(const std::string& client_address) override;
  bool IsClientFreeze(const std::string& client_address) override { return tries_->clients.IsFrozen(client_address); }
  bool IsUserFreeze(int, const std::string& user_name) override { return tries_->users.IsFrozen(user_name); }
  int ClientTriesLeft(const std::string& client_address) override { return tries_->clients.Left(client_address); }
  int UserTriesLeft(int, const std::string& user_name) override { return tries_->users.Left(user_name); }
  bool IsEnableClientFreeze() override { return tries_->clients.on(); }

  bool HaveControlClientPermission(int code, int user_id) override { return HoldsControlPermission(user_id, code); }

  int QueryUser(std::shared_ptr<CUserInfo>& out, int user_id) override { return accounts_.Query(out, user_id); }

  bool AESEncryptClient(std::string& cipher, const std::string& plain, const std::string& session_id) override {
    cipher.clear();
    const auto session = sessions_->Find(session_id);
    return session && SealText(cipher, plain, session->key);
  }

  bool AESDecrypt(std::string& plain, const std::string& cipher, const std::string& session_id) override {
    plain.clear();
    const auto session = sessions_->Find(session_id);
    return session && OpenSealedText(plain, cipher, session->key);
  }

 private:
  /// The error that forbids trying `request` at all, or 0; `password` gets the plain text.
  int Refusal(const CLoginRequest& request, std::string& password);

  const std::shared_ptr<const Sessions> sessions_;
  const std::shared_ptr<LoginTries> tries_;
  Accounts accounts_;
};

void Authentication::AddLoginFailCount(const std::string& client_address) {
  tries_->clients.CountFailed(client_address);
  if (tries_->clients.IsFrozen(client_address)) NoteFreezeOfClient("", client_address);
}

int Authentication::Refusal(const CLoginRequest& request, std::string& password) {
  const auto& name = request.GetValUserName();
  const int encryption = request.GetValEncryptionType();
  if (encryption != kPlainPassword && encryption != kSessionEncrypted) return kLoginNotOpened;
  if (IsClientFreeze(request.GetValClientAddress())) return kLoginClientFrozen;
  if (tries_->users.IsFrozen(name)) return kLoginUserFrozen;
  if (encryption == kPlainPassword) {
    password = request.GetValPassword();
  } else if (!AESDecrypt(password, request.GetValPassword(), request.GetValSessionIdSecurity())) {
    return kLoginNotOpened;
  }
  const int account_type = IsDomainAccount(name) ? kDomainAccount : kLocalAccount;
  return request.GetValLoginAccountType() == account_type ? kRight : kLoginWrongAccountType;
}

bool Authentication::CheckPassword(std::shared_ptr<CLoginResponse>& out, const CLoginRequest& request) {
  out.reset();
  const auto answer = [&out](int code, int user_id) {
    out = std::make_shared<CLoginResponse>(code, user_id);
    return code == kRight;
  };
  std::string password;
  const WipeAtEnd wipe_password(password);
  if (const int refusal = Refusal(request, password); refusal != kRight) return answer(refusal, kNoUser);
  auto user_try = tries_->users.Begin(request.GetValUserName());
  if (!user_try) return answer(kLoginUserFrozen, kNoUser);
  UserRecord user;
  switch (host::CheckPassword(request.GetValUserName(), password, user)) {
    case PasswordOutcome::kWrong:
      user_try->Failed();
      NoteRefusedTry(kEventPasswordRefused, request.GetValUserName(), request.GetValClientAddress(), *tries_);
      return answer(kLoginWrongPassword, user.id);
    case PasswordOutcome::kDisabled:
      return answer(kLoginUserDisabled, user.id);
    case PasswordOutcome::kRight:
      user_try->Succeeded();
      return answer(kRight, user.id);
    case PasswordOutcome::kDatabaseAway:
      break;
  }
  return false;
}

}  // namespace

std::shared_ptr<platform::IAuthenticationBackend> MakeAuthentication(std::shared_ptr<const Sessions> sessions,
                                                                     std::shared_ptr<LoginTries> tries) {
  return std::make_shared<Authentication>(std::move(sessions), std::move(tries));
}

}  // namespace host
