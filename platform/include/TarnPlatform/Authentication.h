#pragma once

#include <memory>
#include <string>
#include <utility>

#include "OrvBase/Export.h"

namespace TarnPlatform::Authentication {

/// What is known about a logged-in user. Immutable once handed out.
class CUserSession {
 public:
  CUserSession(int user_id, std::string user_name, const std::string& address, int client_type)
      : CUserSession(user_id, std::move(user_name), address, address, client_type) {}
  CUserSession(int user_id, std::string user_name, std::string client_address, std::string login_address,
               int client_type)
      : user_id_(user_id),
        user_name_(std::move(user_name)),
        client_address_(std::move(client_address)),
        login_address_(std::move(login_address)),
        client_type_(client_type) {}

  int GetValUserID() const { return user_id_; }
  const std::string& GetValUserName() const { return user_name_; }
  /// The address that the request comes from for which the session was looked up; without one, that of the login.
  const std::string& GetValClientAddress() const { return client_address_; }
  /// The address that the login came from.
  const std::string& GetValLoginAddress() const { return login_address_; }
  int GetValClientType() const { return client_type_; }

 private:
  int user_id_;
  std::string user_name_;
  std::string client_address_;
  std::string login_address_;
  int client_type_;
};

/// Values of GetValUserType. An account kept in an external directory is a kDirectoryUser regardless of its
/// permissions.
inline constexpr int kSuperUser = 1;
inline constexpr int kOrdinaryUser = 2;
inline constexpr int kDirectoryUser = 3;

/// An account. Immutable once handed out.
class CUserInfo {
 public:
  CUserInfo(int user_id, std::string user_name, int user_type)
      : user_id_(user_id), user_name_(std::move(user_name)), user_type_(user_type) {}

  int GetValUserID() const { return user_id_; }
  const std::string& GetValUserName() const { return user_name_; }
  int GetValUserType() const { return user_type_; }

 private:
  int user_id_;
  std::string user_name_;
  int user_type_;
};

/// Error codes of a refused login.
enum LoginErrorCode : int {
  kLoginWrongPassword = 201,     ///< name or password; counts as a failed try
  kLoginUserFrozen = 206,        ///< too many failed tries on this name
  kLoginUserDisabled = 210,      ///< the account is disabled
  kLoginAccountExpired = 211,    ///< reserved: no account of this platform expires
  kLoginPasswordExpired = 212,   ///< reserved: no password of this platform expires
  kLoginNotOpened = 213,         ///< the encrypted password cannot be decrypted: nothing was tried
  kLoginWrongAccountType = 214,  ///< a domain account's name used as a local one, or the reverse
  kLoginClientFrozen = 262,      ///< too many failed tries from this address
};

/// Forms in which a request carries its password.
enum LoginEncryptionType : int {
  kPlainPassword = 0,
  /// Encrypted by the client with its session's key, as AESDecrypt expects it.
  kSessionEncrypted = 2,
};

enum LoginAccountType : int { kLocalAccount = 0, kDomainAccount = 2 };

/// A password to be checked.
class CLoginRequest {
 public:
  void SetValClientAddress(std::string value) { client_address_ = std::move(value); }
  void SetValSessionIdSecurity(std::string value) { session_ = std::move(value); }
  void SetValUserName(std::string value) { user_name_ = std::move(value); }
  void SetValPassword(std::string value) { password_ = std::move(value); }
  void SetValEncryptionType(int value) { encryption_type_ = value; }
  void SetValLoginAccountType(int value) { account_type_ = value; }
  void SetValVerificationCode(std::string value) { verification_code_ = std::move(value); }
  void SetValVerificationMark(std::string value) { verification_mark_ = std::move(value); }

  const std::string& GetValClientAddress() const { return client_address_; }
  const std::string& GetValSessionIdSecurity() const { return session_; }
  const std::string& GetValUserName() const { return user_name_; }
  const std::string& GetValPassword() const { return password_; }
  int GetValEncryptionType() const { return encryption_type_; }
  int GetValLoginAccountType() const { return account_type_; }
  const std::string& GetValVerificationCode() const { return verification_code_; }
  const std::string& GetValVerificationMark() const { return verification_mark_; }

 private:
  std::string client_address_;
  std::string session_;
  std::string user_name_;
  std::string password_;
  int encryption_type_ = kPlainPassword;
  int account_type_ = kLocalAccount;
  std::string verification_code_;
  std::string verification_mark_;
};

/// The outcome of a check.
class CLoginResponse {
 public:
  CLoginResponse(int error_code, int user_id) : error_code_(error_code), user_id_(user_id) {}

  /// 0, or a LoginErrorCode.
  int GetValErrCode() const { return error_code_; }
  /// -1 when no such user is known.
  int GetValUserID() const { return user_id_; }

 private:
  int error_code_;
  int user_id_;
};

/// Checks name and password. A wrong one counts as a failed try of the user here; the caller counts it against the
/// client with AddLoginFailCount. True when both are right and neither client nor user is frozen. `out` is null when
/// the check was not possible (database unreachable).
[[nodiscard]] PLATFORM_API bool CheckPassword(std::shared_ptr<CLoginResponse>& out,
                                              const std::shared_ptr<CLoginRequest>& request);

/// Counts a failed try from `client_address`; at the limit the address is frozen.
PLATFORM_API void AddLoginFailCount(const std::string& client_address);

/// A freeze expires after a time.
[[nodiscard]] PLATFORM_API bool IsClientFreeze(const std::string& client_address);
[[nodiscard]] PLATFORM_API bool IsUserFreeze(int user_id, const std::string& user_name);

/// Failed tries left before the freeze.
[[nodiscard]] PLATFORM_API int GetClientFreezeSurplusCount(const std::string& client_address);
[[nodiscard]] PLATFORM_API int GetUserFreezeSurplusCount(int user_id, const std::string& user_name);

/// Whether client addresses are frozen at all.
[[nodiscard]] PLATFORM_API bool IsEnableClientFreeze();

/// Whether the user may use `code` in a control client; a super user may use every one.
[[nodiscard]] PLATFORM_API bool HaveControlClientPermission(int code, int user_id);

/// Looks up the account with that id. Returns 0, or with `out` emptied 202 for an unknown id, 15 when it could not be
/// read, 1 when no backend is installed. Answers are cached and may be a few seconds old.
[[nodiscard]] PLATFORM_API int Query(std::shared_ptr<CUserInfo>& out, int user_id);

/// Encrypts a text with the session's key, for its client. False, with `cipher` emptied, when the session is unknown.
/// `reserved` is always 0.
[[nodiscard]] PLATFORM_API bool AESEncryptClient(std::string& cipher, const std::string& plain,
                                                 const std::string& session, int reserved);

/// Decrypts a text that the client encrypted with its session's key. False, with `plain` emptied, when the session is
/// unknown or the text cannot be decrypted.
[[nodiscard]] PLATFORM_API bool AESDecrypt(std::string& plain, const std::string& cipher, const std::string& session);

/// False, with `out` emptied, when the session is unknown or has ended.
[[nodiscard]] PLATFORM_API bool GetUserSession(std::shared_ptr<CUserSession>& out, const std::string& session);

/// The session's user name; false, with `out` untouched, when the session is unknown.
PLATFORM_API bool GetUsername(std::string& out, const std::string& session);

/// The client address of the session, as GetValClientAddress; false, with `out` untouched, when the session or the
/// address is unknown.
[[nodiscard]] PLATFORM_API bool GetClientAddress(std::string& out, const std::string& session);

/// Whether the session's user is a super user; false for an unknown session.
[[nodiscard]] PLATFORM_API bool IsSuperUser(const std::string& session);

}  // namespace TarnPlatform::Authentication
