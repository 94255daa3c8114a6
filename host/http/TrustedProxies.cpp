#include "http/TrustedProxies.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace host {
namespace {

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Takes the part behind the last comma off `list`.
std::string_view TakeLast(std::optional<std::string_view>& list) {
  const auto comma = list->rfind(',');
  const auto last = comma == std::string_view::npos ? *list : list->substr(comma + 1);
  list = comma == std::string_view::npos ? std::nullopt : std::optional(list->substr(0, comma));
  return Trimmed(last);
}

/// Of the prefix behind the slash: a network of length 0 would trust everybody.
std::optional<int> ReadLength(std::string_view text, int most) {
  int length = 0;
  const auto* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, length);
  if (error != std::errc() || stop != end || length < 1 || length > most) return std::nullopt;
  return length;
}

bool IsHttps(std::string_view text) {
  constexpr std::string_view kHttps = "https";
  const auto scheme = Trimmed(text);
  return scheme.size() == kHttps.size() && strncasecmp(scheme.data(), kHttps.data(), kHttps.size()) == 0;
}

}  // namespace

std::string TrustedProxies::Read(std::string_view text, TrustedProxies& proxies) {
  TrustedProxies read;
  for (std::optional list = text; !Trimmed(text).empty() && list;) {
    const auto entry = TakeLast(list);
    const auto slash = entry.find('/');
    const auto address = IpAddress::Parse(entry.substr(0, slash));
    if (!address) return "no address or network: " + std::string(entry);
    auto length = std::optional(address->Length());
    if (slash != std::string_view::npos) length = ReadLength(entry.substr(slash + 1), *length);
    if (!length) return "no length from 1 to " + std::to_string(address->Length()) + ": " + std::string(entry);
    const auto first = address->Prefix(*length);
    if (first != *address) return std::string(entry) + " begins with " + first.Text();
    read.networks_.push_back({first, *length});
  }
  proxies = std::move(read);
  return {};
}

bool TrustedProxies::Trusts(const IpAddress& address) const {
  return std::ranges::any_of(networks_, [&address](const Network& network) {
    return address.IsV4() == network.first.IsV4() && address.Prefix(network.length) == network.first;
  });
}

IpAddress TrustedProxies::Origin(IpAddress nearest, const std::vector<std::string_view>& forwarded_for) const {
  for (auto line = forwarded_for.rbegin(); line != forwarded_for.rend(); ++line) {
    for (std::optional list = *line; list;) {
      const auto next = IpAddress::Parse(TakeLast(list));
      if (!next) return nearest;
      nearest = *next;
      if (!Trusts(nearest)) return nearest;
    }
  }
  return nearest;
}

TrustedProxies::Client TrustedProxies::ClientOf(const Request& request) const {
  const auto peer = IpAddress::Parse(request.address);
  if (!peer) return {request.address, request.is_tls};
  if (!Trusts(*peer)) return {request.address, request.is_tls || peer->IsLoopback()};
  const auto& protocols = request.forwarded_proto;
  return {Origin(*peer, request.forwarded_for).Text(), protocols.size() == 1 && IsHttps(protocols.front())};
}

}  // namespace host
