#include "http/IpAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>

namespace host {
namespace {

constexpr std::array<std::uint8_t, 12> kMapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
constexpr int kClientPrefix = 64;

}  // namespace

std::optional<IpAddress> IpAddress::Parse(std::string_view text) {
  // The C library reads up to a NUL.
  if (text.size() >= INET6_ADDRSTRLEN || text.find('\0') != std::string_view::npos) return std::nullopt;
  const std::string whole(text);
  IpAddress address;
  if (inet_pton(AF_INET6, whole.c_str(), address.bytes_.data()) == 1) return address;
  std::ranges::copy(kMapped, address.bytes_.begin());
  if (inet_pton(AF_INET, whole.c_str(), &address.bytes_[kMapped.size()]) == 1) return address;
  return std::nullopt;
}

std::optional<IpAddress> IpAddress::Of(const sockaddr& address) {
  IpAddress found;
  if (address.sa_family == AF_INET) {
    std::ranges::copy(kMapped, found.bytes_.begin());
    const auto& v4 = reinterpret_cast<const sockaddr_in&>(address).sin_addr;
    std::memcpy(&found.bytes_[kMapped.size()], &v4, sizeof(v4));
  } else if (address.sa_family == AF_INET6) {
    std::memcpy(found.bytes_.data(), &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr, found.bytes_.size());
  } else {
    return std::nullopt;
  }
  return found;
}

bool IpAddress::IsV4() const { return std::equal(kMapped.begin(), kMapped.end(), bytes_.begin()); }

bool IpAddress::IsLoopback() const {
  constexpr std::uint8_t kV4Network = 127;
  if (IsV4()) return bytes_[kMapped.size()] == kV4Network;
  return std::all_of(bytes_.begin(), bytes_.end() - 1, [](auto byte) { return byte == 0; }) && bytes_.back() == 1;
}

std::string IpAddress::Text() const {
  char text[INET6_ADDRSTRLEN] = "";
  if (IsV4()) {
    inet_ntop(AF_INET, &bytes_[kMapped.size()], text, sizeof(text));
  } else {
    inet_ntop(AF_INET6, bytes_.data(), text, sizeof(text));
  }
  return text;
}

IpAddress IpAddress::Prefix(int length) const {
  auto prefix = *this;
  const int kept = IsV4() ? kBits - kV4Bits + length : length;
  for (int byte = 0; byte < static_cast<int>(prefix.bytes_.size()); ++byte) {
    const int bits = std::clamp(kept - 8 * byte, 0, 8);
    auto& value = prefix.bytes_.at(static_cast<std::size_t>(byte));
    value = static_cast<std::uint8_t>(value & (0xff00U >> static_cast<unsigned>(bits)));
  }
  return prefix;
}

std::string ClientNetwork(const std::string& address) {
  const auto parsed = IpAddress::Parse(address);
  if (!parsed) return address;
  return parsed->IsV4() ? parsed->Text() : parsed->Prefix(kClientPrefix).Text() + "/" + std::to_string(kClientPrefix);
}

}  // namespace host
