#pragma once

#include <sys/socket.h>

#include <optional>
#include <string>
#include <string_view>

namespace host {

/// A numeric socket address.
struct ListenAddress {
  sockaddr_storage storage{};
  socklen_t length = 0;
};

/// "127.0.0.1:8080" or "[::1]:8080"; none for anything else.
[[nodiscard]] std::optional<ListenAddress> ParseListenAddress(const std::string& text);

/// The form that ParseListenAddress reads.
[[nodiscard]] std::string ListenAddressText(const sockaddr_storage& storage);

/// Only this machine can connect to it.
[[nodiscard]] bool IsLoopback(const ListenAddress& address);

/// The address without its port: "127.0.0.1", "::1"; one of IPv4 also when the socket is one of IPv6. "" for a family
/// other than the two.
[[nodiscard]] std::string AddressText(const sockaddr& address);

/// A socket bound to an address; connections are refused until `Listen`. Not thread-safe.
class ListenSocket {
 public:
  ListenSocket() = default;
  ~ListenSocket();
  ListenSocket(const ListenSocket&) = delete;
  ListenSocket& operator=(const ListenSocket&) = delete;

  /// False, with `fault` filled, when the address is not available.
  [[nodiscard]] bool Bind(const ListenAddress& address, std::string& fault);
  [[nodiscard]] bool Listen(std::string& fault);

  int fd() const { return fd_; }
  /// The bound address, with its actual port.
  const std::string& text() const { return text_; }

 private:
  int fd_ = -1;
  std::string text_;
};

}  // namespace host
