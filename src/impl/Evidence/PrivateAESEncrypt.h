#pragma once

#include <string>

/// Encipherment of stored secrets: AES in CBC mode under the platform's key, as Base64. The initialisation vector is
/// the same for every value, so equal secrets look equal.
namespace PrivateEncrypt {

/// Enciphers `plain` into `out`. An empty text gives an empty one. False, logged, when the platform gives no key of 16,
/// 24 or 32 characters.
[[nodiscard]] bool PrivateAESEncrypt(std::string& out, const std::string& plain);

/// The reverse. False, logged, also when `stored` is no Base64 of whole blocks. The padding is not tested: under
/// another key than it was made with, a text gives a wrong text and no failure.
[[nodiscard]] bool PrivateAESDecrypt(std::string& out, const std::string& stored);

/// The routines beneath, on a text and a key: 1 for success, 0 for a key of a wrong length, -1 for an empty text or
/// key, or a stored text that is no whole number of blocks.
[[nodiscard]] int EncryptWithKey(std::string& out, const std::string& plain, const std::string& key);
[[nodiscard]] int DecryptWithKey(std::string& out, const std::string& stored, const std::string& key);

}  // namespace PrivateEncrypt
