#pragma once

#include <cstddef>
#include <string>

namespace host {

/// Shortest new password in characters.
inline constexpr std::size_t kLeastPassword = 12;

/// "" when `password` may become the password of `user_name`, else why not, as the end of a sentence about it that
/// begins with "a password". It must have at least kLeastPassword characters and at most kMaxPasswordBytes bytes of
/// UTF-8, none of them a control character, and must not be what is guessed first: the user's name, one of the
/// commonest passwords (CommonPasswords.h), either also with digits and signs around it and in any case, a short text
/// repeated, or characters that follow each other in the alphabet or on a keyboard. A password that is stored already
/// is not asked.
[[nodiscard]] std::string PasswordFault(const std::string& password, const std::string& user_name);

}  // namespace host
