#pragma once

#include <memory>

#include "Backend.h"
#include "accounts/FailedTries.h"
#include "accounts/Sessions.h"

namespace host {

/// platform::IAuthenticationBackend on the host's sessions, users and failed tries. Thread-safe.
///
/// CheckPassword answers with the first of these that holds:
///   kLoginNotOpened         the encryption type is not a LoginEncryptionType;
///   kLoginClientFrozen      the client address is frozen;
///   kLoginUserFrozen        the user name is frozen;
///   kLoginNotOpened         an encrypted password cannot be decrypted with the key of the request's session;
///   kLoginWrongAccountType  a name with a backslash is not used as a domain account, or the reverse;
///   (no response)           the database is unreachable: nothing is counted;
///   kLoginWrongPassword     the name or the password is wrong: counted against the name even if no such user exists;
///   kLoginUserDisabled      the password is right, but the account is disabled;
/// and otherwise with 0 and true, which clears the user's count. The other answers leave the counts alone. The client's
/// count is only checked for a freeze: concurrent requests of one address may each try a password before
/// AddLoginFailCount is called for the first, while a user's limit is never exceeded. Names are compared exactly;
/// domain accounts are stored in lower case. Verification code and mark are carried for others and not used. Users are
/// frozen by name: IsUserFreeze and UserTriesLeft ignore the id.
///
/// HaveControlClientPermission reads the tables at each call, so that a change applies at once; what else is known of a
/// session's user is some seconds old. The client address of a session is that of the request that this thread works
/// for.
std::shared_ptr<platform::IAuthenticationBackend> MakeAuthentication(std::shared_ptr<const Sessions> sessions,
                                                                     std::shared_ptr<LoginTries> tries);

}  // namespace host
