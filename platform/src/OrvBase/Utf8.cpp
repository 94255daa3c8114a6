#include "OrvBase/Utf8.h"

#include <cstdint>
#include <cstring>

namespace Orv::Base::Utf8 {
namespace {

struct Form {
  std::size_t length;
  /// Range of the second byte, which rules out overlong forms, surrogates and too large values.
  unsigned char second_low;
  unsigned char second_high;
};

constexpr Form FormOf(unsigned char lead) {
  if (lead < 0x80) return {1, 0, 0};
  if (lead >= 0xC2 && lead <= 0xDF) return {2, 0x80, 0xBF};
  if (lead == 0xE0) return {3, 0xA0, 0xBF};
  if (lead == 0xED) return {3, 0x80, 0x9F};
  if (lead >= 0xE1 && lead <= 0xEF) return {3, 0x80, 0xBF};
  if (lead == 0xF0) return {4, 0x90, 0xBF};
  if (lead >= 0xF1 && lead <= 0xF3) return {4, 0x80, 0xBF};
  if (lead == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

}  // namespace

std::size_t SequenceLength(std::string_view text, std::size_t at) {
  const auto byte = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const Form form = FormOf(byte(at));
  if (form.length <= 1) return form.length;
  if (text.size() - at < form.length) return 0;
  if (byte(at + 1) < form.second_low || byte(at + 1) > form.second_high) return 0;
  for (std::size_t index = at + 2; index < at + form.length; ++index) {
    if (byte(index) < 0x80 || byte(index) > 0xBF) return 0;
  }
  return form.length;
}

namespace {

/// How many bytes from `at` on are ASCII, in whole words; most texts are nothing else.
std::size_t AsciiWords(std::string_view text, std::size_t at) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  const std::size_t start = at;
  for (std::uint64_t word = 0; text.size() - at >= sizeof(word); at += sizeof(word)) {
    std::memcpy(&word, text.data() + at, sizeof(word));
    if ((word & kHighBits) != 0) break;
  }
  return at - start;
}

/// How many bytes of `text` precede the first that starts no valid sequence.
std::size_t ValidLength(std::string_view text) {
  std::size_t at = AsciiWords(text, 0);
  while (at < text.size()) {
    const std::size_t length = SequenceLength(text, at);
    if (length == 0) break;
    at += length;
    if (length > 1) at += AsciiWords(text, at);
  }
  return at;
}

}  // namespace

bool IsValid(std::string_view text) { return ValidLength(text) == text.size(); }

std::string Repaired(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  for (;;) {
    const std::size_t valid = ValidLength(text);
    repaired.append(text.substr(0, valid));
    if (valid == text.size()) return repaired;
    repaired += "\xEF\xBF\xBD";
    text.remove_prefix(valid + 1);
  }
}

}  // namespace Orv::Base::Utf8
