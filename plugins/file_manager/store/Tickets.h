#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace FileManager {

/// Texts that let a player or a plain download, which can send no header, read one file in the name of one session for
/// ten minutes. A MAC under a key derived from the site's makes them, so that every host of the site knows them and
/// nobody else can make one. Thread-safe.
class Tickets {
 public:
  using Clock = std::chrono::system_clock;
  static constexpr std::chrono::minutes kLifetime{10};

  struct Ticket {
    std::int32_t file_id = 0;
    /// The handle of the session, which must still be alive.
    std::string session;
    Clock::time_point expires;
  };

  explicit Tickets(const std::string& site_key);

  [[nodiscard]] std::string Make(const Ticket& ticket) const;
  /// None for a text that Make did not give, and after its expiry.
  [[nodiscard]] std::optional<Ticket> Check(std::string_view text, Clock::time_point now) const;

 private:
  [[nodiscard]] std::string MacOf(std::string_view text) const;

  const std::string key_;
};

}  // namespace FileManager
