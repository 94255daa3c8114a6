#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// Random texts and password hashes. Thread-safe; nothing here is ever logged.
namespace host {

/// Longest password in bytes: what crypt(3) takes.
inline constexpr std::size_t kMaxPasswordBytes = 511;

/// `bytes` bytes of the system's random source in lower-case hex. Aborts the process when that fails.
[[nodiscard]] std::string RandomHex(std::size_t bytes);

/// Whether `password` is acceptable: not empty, at most kMaxPasswordBytes, no control character, UTF-8.
[[nodiscard]] bool IsPassword(const std::string& password);

/// A yescrypt hash with a new salt; none when `password` is not acceptable.
[[nodiscard]] std::optional<std::string> HashPassword(const std::string& password);

/// Whether `password` matches `hash`. With an empty `hash`, for an unknown user, false after the same time. Uses
/// several megabytes and tens of milliseconds: callers bound how many run at once.
[[nodiscard]] bool PasswordMatches(const std::string& password, const std::string& hash);

/// Overwrites `text`, including its unused capacity, and empties it.
void Wipe(std::string& text);

/// Wipes a text when the scope ends.
class WipeAtEnd {
 public:
  explicit WipeAtEnd(std::string& text) : text_(text) {}
  ~WipeAtEnd() { Wipe(text_); }
  WipeAtEnd(const WipeAtEnd&) = delete;
  WipeAtEnd& operator=(const WipeAtEnd&) = delete;

 private:
  std::string& text_;
};

}  // namespace host
