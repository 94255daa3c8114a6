#pragma once

#include <string>

/// Encryption of stored secrets: AES in CBC mode under the platform's key, as Base64. The initialisation vector is
/// fixed, so equal secrets have equal ciphertexts.
namespace PrivateEncrypt {

/// Encrypts `plain` into `out`. An empty text stays empty. False, logged, when the platform provides no key of 16, 24
/// or 32 characters.
[[nodiscard]] bool PrivateAESEncrypt(std::string& out, const std::string& plain);

/// The reverse. False, logged, also when `stored` is not Base64 of whole blocks. The padding is not verified: a wrong
/// key yields a wrong text and no failure.
[[nodiscard]] bool PrivateAESDecrypt(std::string& out, const std::string& stored);

/// The underlying routines, on a text and a key: 1 on success, 0 for a key of invalid length, -1 for an empty text or
/// key, or a stored text that is not a whole number of blocks.
[[nodiscard]] int EncryptWithKey(std::string& out, const std::string& plain, const std::string& key);
[[nodiscard]] int DecryptWithKey(std::string& out, const std::string& stored, const std::string& key);

}  // namespace PrivateEncrypt
