#include "http/RequestId.h"

#include <array>
#include <atomic>
#include <charconv>
#include <cstdint>

#include "accounts/Secrets.h"

namespace host {

std::string NewRequestId() {
  constexpr std::size_t kProcessBytes = 6;
  static const std::string process = RandomHex(kProcessBytes) + "-";
  static std::atomic<std::uint64_t> count = 0;
  std::array<char, 16> digits{};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), ++count, 16);
  return process + std::string(digits.data(), end);
}

}  // namespace host
