#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "http/HttpServer.h"

/// What the library knows of a connection and of the request on it.
namespace host {

/// The first header of that name, case aside.
[[nodiscard]] std::optional<std::string_view> Header(MHD_Connection& connection, const char* name);
/// The values of all header lines of that name, in their order. Throws std::bad_alloc.
[[nodiscard]] std::vector<std::string_view> HeaderLines(MHD_Connection& connection, std::string_view name);
/// Size of the whole head, request line included.
[[nodiscard]] std::size_t HeaderSize(MHD_Connection& connection);

inline constexpr std::uint64_t kUnknownLength = std::numeric_limits<std::uint64_t>::max();
/// Announced size of the body: 0 without one, kUnknownLength for a chunked one.
[[nodiscard]] std::uint64_t AnnouncedLength(MHD_Connection& connection);

/// -1 when there is none.
[[nodiscard]] int Descriptor(MHD_Connection& connection);
/// Of the other end, without its port; "" when it is not known.
[[nodiscard]] std::string ClientAddress(MHD_Connection& connection);
/// The id that the client sent, else a new one.
[[nodiscard]] std::string RequestIdFor(MHD_Connection& connection);

/// The fields of a request, which the library keeps until its answer is queued.
class ConnectionFields final : public HttpFieldSource {
 public:
  explicit ConnectionFields(MHD_Connection& connection) : connection_(connection) {}

  std::optional<std::string_view> Header(const char* name) const override { return host::Header(connection_, name); }
  platform::HttpFields Headers() const override;
  platform::HttpFields Query() const override;

 private:
  MHD_Connection& connection_;
};

}  // namespace host
