#pragma once

#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host {

/// A numeric address without port. One of IPv4 that is mapped into IPv6, as a socket for both has it, is that of IPv4.
class IpAddress {
 public:
  /// "192.0.2.7" or "2001:db8::7"; none for anything else, such as a port, brackets, a zone or a blank.
  [[nodiscard]] static std::optional<IpAddress> Parse(std::string_view text);
  /// None for a family other than the two.
  [[nodiscard]] static std::optional<IpAddress> Of(const sockaddr& address);

  [[nodiscard]] bool IsV4() const;
  /// Only this machine has it.
  [[nodiscard]] bool IsLoopback() const;
  /// The shortest form, which Parse reads; the same for equal addresses.
  [[nodiscard]] std::string Text() const;

  /// With the bits behind the first `length` cleared; those of an IPv4 address count from its own first one.
  [[nodiscard]] IpAddress Prefix(int length) const;
  /// Bits of the address: 32 or 128.
  [[nodiscard]] int Length() const { return IsV4() ? kV4Bits : kBits; }

  bool operator==(const IpAddress&) const = default;

 private:
  static constexpr int kBits = 128;
  static constexpr int kV4Bits = 32;

  /// Of IPv6; those of IPv4 are mapped.
  std::array<std::uint8_t, kBits / 8> bytes_{};
};

/// What failures and connections of one client are counted by: an IPv4 address, and the /64 of an IPv6 one, as whoever
/// has one address of it has them all. `address` itself when it is neither.
[[nodiscard]] std::string ClientNetwork(const std::string& address);

}  // namespace host
