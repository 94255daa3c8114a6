#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "http/IpAddress.h"

namespace host {

/// The proxies whose word on their clients is taken. Immutable when read; any thread.
class TrustedProxies {
 public:
  /// Reads addresses and networks such as 192.0.2.7, 10.0.0.0/8 and 2001:db8::/32, separated by commas, into `proxies`.
  /// "" or the fault, which then changed nothing.
  [[nodiscard]] static std::string Read(std::string_view text, TrustedProxies& proxies);

  /// A connection, and what the head of a request on it says of who is behind.
  struct Request {
    /// Of the other end of the connection, without port.
    std::string address;
    bool is_tls = false;
    /// The values of X-Forwarded-For, in the order of their lines.
    std::vector<std::string_view> forwarded_for;
    /// Those of X-Forwarded-Proto.
    std::vector<std::string_view> forwarded_proto;
  };
  struct Client {
    std::string address;
    /// Its requests come over TLS, or never leave the machine.
    bool is_private = false;
  };
  /// Who sends: the other end of the connection unless that is trusted. Else the rightmost forwarded address that is
  /// not trusted itself; what cannot be read ends the search, and the address before it counts.
  [[nodiscard]] Client ClientOf(const Request& request) const;

  /// Nobody is trusted: the headers need not be read.
  [[nodiscard]] bool IsEmpty() const { return networks_.empty(); }

 private:
  struct Network {
    IpAddress first;
    int length;
  };

  [[nodiscard]] bool Trusts(const IpAddress& address) const;
  [[nodiscard]] IpAddress Origin(IpAddress nearest, const std::vector<std::string_view>& forwarded_for) const;

  std::vector<Network> networks_;
};

}  // namespace host
