#include "OrvBase/Utf8.h"

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

bool IsValid(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = SequenceLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::string Repaired(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = SequenceLength(text, at);
    if (length == 0) {
      repaired += "\xEF\xBF\xBD";
      ++at;
    } else {
      repaired.append(text, at, length);
      at += length;
    }
  }
  return repaired;
}

}  // namespace Orv::Base::Utf8
