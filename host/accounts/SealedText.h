#pragma once

#include <cstddef>
#include <string>

namespace host {

/// Longest text that can be encrypted and decrypted, in bytes.
inline constexpr std::size_t kMaxSealedPlain = 4096;

/// Decrypts the output of `openssl enc -aes-256-cbc -pbkdf2 -a -pass pass:<key>`: the base64 form, with or without line
/// breaks, of "Salted__", 8 bytes of salt, and AES-256-CBC with PKCS#7 padding, whose key and initialization vector are
/// PBKDF2-HMAC-SHA256 of `key` with that salt and 10000 iterations. False, with `plain` emptied, for a text of any
/// other form, of another key, or of more than kMaxSealedPlain bytes; a text of another key may by chance, about one in
/// 256, decrypt to meaningless bytes. Takes some milliseconds, which slows down guessing keys. Thread-safe.
[[nodiscard]] bool OpenSealedText(std::string& plain, const std::string& sealed, const std::string& key);

/// The reverse: `sealed` gets one line, without a line break, that OpenSealedText and `openssl enc -d` with the same
/// options and -A decrypt to `plain`. Each call uses a new salt. False, with `sealed` emptied, for more than
/// kMaxSealedPlain bytes. Takes some milliseconds. Thread-safe.
[[nodiscard]] bool SealText(std::string& sealed, const std::string& plain, const std::string& key);

}  // namespace host
