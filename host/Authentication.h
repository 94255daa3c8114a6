#pragma once

#include <memory>

#include "Backend.h"
#include "FailedTries.h"
#include "Sessions.h"

namespace host {

/// platform::IAuthenticationBackend on the host's sessions, users and failed tries. Any thread.
///
/// CheckPassword answers with the first of these that holds:
///   (no response)       the database is away: nothing is counted;
///   kLoginNotOpened     the encryption type is not a LoginEncryptionType;
///   kLoginClientFrozen  the client address is frozen;
///   kLoginUserFrozen    the user name is frozen;
///   kLoginNotOpened     an enciphered password cannot be opened under the request's session;
///   kLoginWrongAccountType  a name with a backslash was not asked for as a domain account, or the reverse;
///   kLoginWrongPassword the name or the password is wrong: counted against the name, whether such a user exists or
///   not; kLoginUserDisabled  the password is right, but the account is switched off;
/// and else with 0 and true, which clears the user's count. All but kLoginWrongPassword leave the counts alone. Of the
/// client's count it only asks whether it has frozen the address: requests of one address that run at the same time may
/// together try a password each before AddLoginFailCount is called for the first, while a user's limit is never passed.
/// Names are compared exactly; domain accounts are stored in lower case. Verification code and mark are carried for
/// others and not used. Users are frozen by name: IsUserFreeze and UserTriesLeft do not look at the id.
///
/// HaveControlClientPermission reads the tables at each call, so that a change holds at once; all else that is known of
/// a session's user dates from the login.
std::shared_ptr<platform::IAuthenticationBackend> MakeAuthentication(std::shared_ptr<const Sessions> sessions,
                                                                     std::shared_ptr<LoginTries> tries);

}  // namespace host
