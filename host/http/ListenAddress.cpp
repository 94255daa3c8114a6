#include "http/ListenAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>
#include <system_error>

#include "http/IpAddress.h"

namespace host {
namespace {

std::optional<in_port_t> ParsePort(std::string_view text) {
  in_port_t port = 0;
  const auto* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, port);
  if (error != std::errc() || stop != end) return std::nullopt;
  return port;
}

/// The same storage viewed as one of the address families.
template <class Family, class Storage>
Family& As(Storage& storage) {
  return reinterpret_cast<Family&>(storage);
}

std::string SystemFault(const char* what) { return std::string(what) + ": " + std::generic_category().message(errno); }

}  // namespace

std::optional<ListenAddress> ParseListenAddress(const std::string& text) {
  const auto colon = text.rfind(':');
  if (colon == std::string::npos) return std::nullopt;
  const auto port = ParsePort(std::string_view(text).substr(colon + 1));
  if (!port) return std::nullopt;
  ListenAddress address;
  const bool bracketed = colon >= 2 && text.front() == '[' && text[colon - 1] == ']';
  if (bracketed) {
    auto& v6 = As<sockaddr_in6>(address.storage);
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(*port);
    address.length = sizeof(sockaddr_in6);
    if (inet_pton(AF_INET6, text.substr(1, colon - 2).c_str(), &v6.sin6_addr) != 1) return std::nullopt;
  } else {
    auto& v4 = As<sockaddr_in>(address.storage);
    v4.sin_family = AF_INET;
    v4.sin_port = htons(*port);
    address.length = sizeof(sockaddr_in);
    if (inet_pton(AF_INET, text.substr(0, colon).c_str(), &v4.sin_addr) != 1) return std::nullopt;
  }
  return address;
}

std::string AddressText(const sockaddr& address) {
  const auto numeric = IpAddress::Of(address);
  return numeric ? numeric->Text() : "";
}

std::string ListenAddressText(const sockaddr_storage& storage) {
  char text[INET6_ADDRSTRLEN] = "";
  if (storage.ss_family == AF_INET6) {
    const auto& v6 = As<const sockaddr_in6>(storage);
    inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof(text));
    return "[" + std::string(text) + "]:" + std::to_string(ntohs(v6.sin6_port));
  }
  const auto& v4 = As<const sockaddr_in>(storage);
  inet_ntop(AF_INET, &v4.sin_addr, text, sizeof(text));
  return std::string(text) + ":" + std::to_string(ntohs(v4.sin_port));
}

bool IsLoopback(const ListenAddress& address) {
  const auto numeric = IpAddress::Of(As<const sockaddr>(address.storage));
  return numeric && numeric->IsLoopback();
}

ListenSocket::~ListenSocket() {
  if (fd_ >= 0) close(fd_);
}

bool ListenSocket::Bind(const ListenAddress& address, std::string& fault) {
  fd_ = socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd_ < 0) {
    fault = SystemFault("no socket");
    return false;
  }
  const int on = 1;
  setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  if (bind(fd_, &As<const sockaddr>(address.storage), address.length) != 0) {
    fault = SystemFault(ListenAddressText(address.storage).c_str());
    return false;
  }
  sockaddr_storage bound{};
  socklen_t length = sizeof(bound);
  if (getsockname(fd_, &As<sockaddr>(bound), &length) != 0) {
    fault = SystemFault("getsockname");
    return false;
  }
  text_ = ListenAddressText(bound);
  return true;
}

bool ListenSocket::Listen(std::string& fault) {
  if (listen(fd_, SOMAXCONN) == 0) return true;
  fault = SystemFault(text_.c_str());
  return false;
}

}  // namespace host
