#pragma once

#include <string>

namespace evidence_test {

/// What `openssl enc -aes-256-cbc -pbkdf2 -a <more>` makes of `plain` under the password `key`, its line breaks
/// included. Throws std::runtime_error when the command fails.
std::string SealedByOpenssl(const std::string& plain, const std::string& key, const std::string& more = "-A");

/// What `openssl enc -d -aes-256-cbc -pbkdf2 -a -A` makes of `sealed`. Throws as above.
std::string OpenedByOpenssl(const std::string& sealed, const std::string& key);

}  // namespace evidence_test
