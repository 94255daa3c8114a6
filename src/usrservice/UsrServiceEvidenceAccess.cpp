#include <algorithm>
#include <set>
#include <utility>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "KelpUtils/StringFunctions.h"
#include "TarnPlatform/Authentication.h"
#include "impl/Evidence/Limits.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
namespace {

using namespace TarnPlatform::Authentication;
using Orv::Base::Error::SetLastError;

/// The user whose password confirms a deletion by a super user.
constexpr char kSuperUserName[] = "sysop";

constexpr int kPermissionDeleteEvidence = 43;

/// The error code when the platform returned no usable answer.
constexpr int kNoLoginResponse = 1;

/// Values of `lock_type`: whose remaining tries are reported.
constexpr std::int32_t kUserTries = 1;
constexpr std::int32_t kClientTries = 2;

bool IsDomainAccount(const std::string& name) { return name.find('\\') != std::string::npos; }

/// Whether a refusal is reported with the remaining tries.
bool ReportsRemainingTries(int error_code) {
  switch (error_code) {
    case kLoginWrongPassword:
    case kLoginUserDisabled:
    case kLoginAccountExpired:
    case kLoginPasswordExpired:
    case kLoginWrongAccountType:
      return true;
    default:
      return false;
  }
}

std::string ListedNames(const std::list<UserPtr>& users) {
  std::string text = " list info ";
  for (const auto& user : users)
    text += " user : " + user->name;
  return text;
}

/// Whether the list includes the login user, as it must for a plain user; `user_name` receives the name.
bool ListsLoginUser(std::string& user_name, const std::list<UserPtr>& users, const std::string& session,
                    Operation operation = Operation::current()) {
  GetUsername(user_name, session);
  for (const auto& user : users) {
    if (IsDomainAccount(user->name)) user->name = kelp::ToLower(user->name);
  }
  if (std::ranges::any_of(users, [&](const UserPtr& user) { return user->name == user_name; })) return true;
  SetLastError({0, kBadInput});
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Require user permission verification [%s, login user : %s].[%s(%d)]",
                  ListedNames(users).c_str(), user_name.c_str());
  return false;
}

bool ListsSuperUserAlone(const std::list<UserPtr>& users, Operation operation = Operation::current()) {
  if (users.size() == 1 && users.front()->name == kSuperUserName) return true;
  SetLastError({0, kBadInput});
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Require user permission verification.[%s(%d)]");
  return false;
}

}  // namespace

bool CUsrServiceEvidence::CheckUsersDelEvidencePerm(std::int32_t& remain_count, std::int32_t& lock_type,
                                                    std::string& user_name, const std::list<UserPtr>& users,
                                                    const std::string& session) {
  remain_count = -1;
  if (!Limits::Allows(Limits::kConfirmingUsers, users.size())) return false;
  if (IsSuperUser(session) ? !ListsSuperUserAlone(users) : !ListsLoginUser(user_name, users, session)) return false;
  remain_count = -1;
  lock_type = kUserTries;
  std::string client_address;
  if (!GetClientAddress(client_address, session)) {
    EVIDENCE_LOG(kLogFailure, "[%s]GetClientAddress failed, session-id[%s].[%s(%d)]", session.c_str());
    return Fail(kSessionNotFound);
  }
  // A pair confirmed once in this call is not checked again: one body may repeat a user very often.
  std::set<std::pair<std::string, std::string>> confirmed;
  for (const auto& user : users) {
    user_name = user->name;
    if (confirmed.contains({user->name, user->password})) continue;
    std::int32_t error_code = 0;
    const std::int32_t user_id =
        CheckUserPass(remain_count, lock_type, error_code, user->name, user->password, {}, {}, client_address, session);
    if (user_id == -1) {
      EVIDENCE_LOG(kLogFailure, "[%s]CheckUserPass failed, user-name[%s].[%s(%d)]", user->name.c_str());
      SetLastError({0, error_code});
      return false;
    }
    if (!HaveControlClientPermission(kPermissionDeleteEvidence, user_id)) {
      EVIDENCE_LOG(kLogFailure, "[%s]HaveControlClientPermission failed, user-name[%s].[%s(%d)]", user->name.c_str());
      return Fail(kNoPermission);
    }
    confirmed.emplace(user->name, user->password);
  }
  return true;
}

std::int32_t CUsrServiceEvidence::CheckUserPass(std::int32_t& remain_count, std::int32_t& lock_type,
                                                std::int32_t& error_code, const std::string& user_name,
                                                const std::string& password, const std::string& verification_code,
                                                const std::string& verification_mark, const std::string& client_address,
                                                const std::string& session) {
  CLoginRequest request;
  request.SetValClientAddress(client_address);
  request.SetValSessionIdSecurity(session);
  request.SetValUserName(user_name);
  request.SetValPassword(password);
  request.SetValEncryptionType(kSessionEncrypted);
  request.SetValLoginAccountType(IsDomainAccount(user_name) ? kDomainAccount : kLocalAccount);
  request.SetValVerificationCode(verification_code);
  request.SetValVerificationMark(verification_mark);

  std::shared_ptr<CLoginResponse> response;
  const bool right = CheckPassword(response, std::make_shared<CLoginRequest>(request));
  error_code = kNoLoginResponse;
  if (!response) return -1;
  const std::int32_t user_id = response->GetValUserID();
  // A right password without a user id confirms nothing.
  if (right) return user_id < 0 ? -1 : user_id;
  // A refusal without a code must not read as success.
  if (response->GetValErrCode() != 0) error_code = response->GetValErrCode();
  if (error_code == kLoginWrongPassword) AddLoginFailCount(client_address);
  if (ReportsRemainingTries(error_code)) {
    CheckFreezeSurplus(remain_count, lock_type, error_code, user_id, client_address, user_name);
  }
  return -1;
}

void CUsrServiceEvidence::CheckFreezeSurplus(std::int32_t& remain_count, std::int32_t& lock_type,
                                             std::int32_t& error_code, std::int32_t user_id,
                                             const std::string& client_address, const std::string& user_name) {
  if (IsClientFreeze(client_address)) {
    error_code = kLoginClientFrozen;
    return;
  }
  if (IsUserFreeze(user_id, user_name)) {
    error_code = kLoginUserFrozen;
    return;
  }
  const std::int32_t client_count = GetClientFreezeSurplusCount(client_address);
  const std::int32_t user_count = GetUserFreezeSurplusCount(user_id, user_name);
  const bool client_decides = client_count <= user_count && IsEnableClientFreeze();
  remain_count = client_decides ? client_count : user_count;
  lock_type = client_decides ? kClientTries : kUserTries;
}

}  // namespace Evidence
