#include "Hex.h"

namespace host {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

/// 16 for what is no digit.
unsigned ValueOf(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<unsigned>(digit - '0');
  if (digit >= 'a' && digit <= 'f') return static_cast<unsigned>(digit - 'a') + 10;
  return 16;
}

}  // namespace

std::string ToHex(const unsigned char* bytes, std::size_t size) {
  std::string hex;
  hex.reserve(2 * size);
  for (std::size_t at = 0; at < size; ++at) {
    hex += kDigits[bytes[at] >> 4];
    hex += kDigits[bytes[at] & 15];
  }
  return hex;
}

bool FromHex(std::string_view hex, unsigned char* bytes, std::size_t size) {
  if (hex.size() != 2 * size) return false;
  unsigned wrong = 0;
  for (std::size_t at = 0; at < size; ++at) {
    const unsigned high = ValueOf(hex[2 * at]);
    const unsigned low = ValueOf(hex[2 * at + 1]);
    wrong |= (high | low) & 16;
    bytes[at] = static_cast<unsigned char>(high << 4 | (low & 15));
  }
  return wrong == 0;
}

}  // namespace host
