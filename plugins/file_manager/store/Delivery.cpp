#include "store/Delivery.h"

#include <algorithm>
#include <array>

#include "OrvBase/StringUtil.h"

namespace FileManager {
namespace {

constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLongestType = 127;
constexpr char kHexDigits[] = "0123456789ABCDEF";

/// What no browser takes for a program. An image of the type svg is one.
constexpr std::array<std::string_view, 6> kShown = {"image/png",  "image/jpeg", "image/gif",
                                                    "image/webp", "image/bmp",  "text/plain"};

bool IsAlphanumeric(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

/// Characters of a token (RFC 9110, 5.6.2).
bool IsTokenChar(char c) {
  return IsAlphanumeric(c) || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

/// Characters that stand for themselves in an extended value (RFC 8187, 3.2.1).
bool IsAttrChar(char c) {
  return IsAlphanumeric(c) || std::string_view("!#$&+-.^_`|~").find(c) != std::string_view::npos;
}

/// Of ASCII, and of the block that follows it. `name` is UTF-8.
bool HasControl(std::string_view name) {
  for (std::size_t at = 0; at < name.size(); ++at) {
    const auto byte = static_cast<unsigned char>(name[at]);
    const bool is_second = byte == 0xc2 && at + 1 < name.size() && static_cast<unsigned char>(name[at + 1]) < 0xa0;
    if (byte < 0x20 || byte == 0x7f || is_second) return true;
  }
  return false;
}

bool IsShown(std::string_view type) {
  return type.starts_with("video/") || type.starts_with("audio/") || std::ranges::find(kShown, type) != kShown.end();
}

}  // namespace

std::string NameFault(std::string_view name) {
  if (name.empty()) return "name must not be empty.";
  if (name.size() > kLongestName) return "name must not be longer than 255 bytes.";
  if (Orv::Base::StringUtil::ContainsIllegalCharacters(name) || HasControl(name))
    return "name has a control character or is not UTF-8.";
  if (name.find_first_of("/\\") != std::string_view::npos || name == "." || name == "..") {
    return "name must be that of a file, without folders.";
  }
  return {};
}

std::string MediaTypeOf(std::string_view type) {
  const auto slash = type.find('/');
  if (slash == std::string_view::npos || slash == 0 || slash + 1 == type.size() || type.size() > kLongestType)
    return {};
  const auto is_token = [](std::string_view text) { return std::ranges::all_of(text, IsTokenChar); };
  if (!is_token(type.substr(0, slash)) || !is_token(type.substr(slash + 1))) return {};
  std::string lower(type);
  std::ranges::transform(lower, lower.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return lower;
}

std::string Disposition(std::string_view name, std::string_view media_type, bool may_show) {
  std::string plain;
  std::string extended;
  for (const char c : name) {
    const bool is_plain = c >= 0x20 && c < 0x7f && c != '"' && c != '\\' && c != '%';
    // One for each character, not for each byte of it.
    if ((static_cast<unsigned char>(c) & 0xc0) != 0x80) plain += is_plain ? c : '_';
    if (IsAttrChar(c)) {
      extended += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      extended += {'%', kHexDigits[byte >> 4], kHexDigits[byte & 15]};
    }
  }
  const bool shown = may_show && IsShown(media_type);
  return (shown ? "inline; filename=\"" : "attachment; filename=\"") + plain + "\"; filename*=UTF-8''" + extended;
}

}  // namespace FileManager
