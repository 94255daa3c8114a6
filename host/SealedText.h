#pragma once

#include <cstddef>
#include <string>

namespace host {

/// Longest text that can be sealed and opened, in bytes.
inline constexpr std::size_t kMaxSealedPlain = 4096;

/// Opens what `openssl enc -aes-256-cbc -pbkdf2 -a -pass pass:<key>` makes: the base64 form, with or without line
/// breaks, of "Salted__", 8 bytes of salt, and AES-256-CBC with PKCS#7 padding, whose key and initial vector are
/// PBKDF2-HMAC-SHA256 over `key` with that salt and 10000 rounds. False, with `plain` emptied, for a text of any other
/// form, of another key, or of more than kMaxSealedPlain bytes; a text of another key may open by chance, about one in
/// 256, to bytes without meaning. Takes some milliseconds, so that keys cannot be guessed fast. Any thread.
[[nodiscard]] bool OpenSealedText(std::string& plain, const std::string& sealed, const std::string& key);

/// The reverse: `sealed` gets one line, without a line break, that OpenSealedText and `openssl enc -d` with the same
/// options and -A open to `plain`. Each call draws another salt. False, with `sealed` emptied, for more than
/// kMaxSealedPlain bytes. Takes some milliseconds. Any thread.
[[nodiscard]] bool SealText(std::string& sealed, const std::string& plain, const std::string& key);

}  // namespace host
