#include "http/Connection.h"

#include <microhttpd.h>
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <new>
#include <utility>

#include "http/ListenAddress.h"
#include "http/RequestId.h"
#include "platform/Guard.h"

namespace host {
namespace {

const MHD_ConnectionInfo* Info(MHD_Connection& connection, MHD_ConnectionInfoType type) {
  return MHD_get_connection_info(&connection, type);
}

}  // namespace

std::optional<std::string_view> Header(MHD_Connection& connection, const char* name) {
  const char* const value = MHD_lookup_connection_value(&connection, MHD_HEADER_KIND, name);
  if (value == nullptr) return std::nullopt;
  return value;
}

std::uint64_t AnnouncedLength(MHD_Connection& connection) {
  if (Header(connection, MHD_HTTP_HEADER_TRANSFER_ENCODING)) return kUnknownLength;
  const auto text = Header(connection, MHD_HTTP_HEADER_CONTENT_LENGTH);
  std::uint64_t length = 0;
  if (text) std::from_chars(text->data(), text->data() + text->size(), length);
  return std::min(length, kUnknownLength - 1);
}

int Descriptor(MHD_Connection& connection) {
  const auto* const info = Info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
  return info == nullptr ? -1 : info->connect_fd;
}

std::string ClientAddress(MHD_Connection& connection) {
  const auto* const info = Info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  return info == nullptr || info->client_addr == nullptr ? std::string() : AddressText(*info->client_addr);
}

std::vector<std::string_view> HeaderLines(MHD_Connection& connection, std::string_view name) {
  struct Search {
    std::string_view name;
    std::vector<std::string_view> values;
    bool is_whole = true;
  } search{name, {}};
  const auto add = [](void* context, MHD_ValueKind, const char* key, const char* value) {
    auto& found = *static_cast<Search*>(context);
    if (strcasecmp(key, found.name.data()) != 0) return MHD_YES;
    const auto append = [&] {
      found.values.emplace_back(value == nullptr ? "" : value);
      return true;
    };
    found.is_whole = platform::Guard(append, [](const char*) { return false; });
    return found.is_whole ? MHD_YES : MHD_NO;
  };
  MHD_get_connection_values(&connection, MHD_HEADER_KIND, add, &search);
  if (!search.is_whole) throw std::bad_alloc();
  return std::move(search.values);
}

namespace {

platform::HttpFields AllOf(MHD_Connection& connection, MHD_ValueKind kind) {
  platform::HttpFields fields;
  const auto add = [](void* to, MHD_ValueKind, const char* name, const char* value) {
    const auto append = [&] {
      static_cast<platform::HttpFields*>(to)->emplace_back(name, value == nullptr ? "" : value);
      return MHD_YES;
    };
    return platform::Guard(append, [](const char*) { return MHD_NO; });
  };
  const int count = MHD_get_connection_values(&connection, kind, nullptr, nullptr);
  if (MHD_get_connection_values(&connection, kind, add, &fields) != count) throw std::bad_alloc();
  return fields;
}

}  // namespace

platform::HttpFields ConnectionFields::Headers() const {
  auto headers = AllOf(connection_, MHD_HEADER_KIND);
  for (auto& [name, value] : headers)
    std::ranges::transform(name, name.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return headers;
}

platform::HttpFields ConnectionFields::Query() const { return AllOf(connection_, MHD_GET_ARGUMENT_KIND); }

std::string RequestIdFor(MHD_Connection& connection) {
  constexpr std::size_t kLongest = 64;
  const auto is_plain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
           c == '-';
  };
  const auto sent = Header(connection, "X-Request-Id");
  if (sent && !sent->empty() && sent->size() <= kLongest && std::ranges::all_of(*sent, is_plain)) {
    return std::string(*sent);
  }
  return NewRequestId();
}

std::size_t HeaderSize(MHD_Connection& connection) {
  const auto* const info = Info(connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE);
  return info == nullptr ? 0 : info->header_size;
}

}  // namespace host
