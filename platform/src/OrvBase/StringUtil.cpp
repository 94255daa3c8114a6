#include "OrvBase/StringUtil.h"

#include <cstdarg>
#include <cstdio>

#include "OrvBase/Format.h"
#include "OrvBase/Utf8.h"

namespace Orv::Base {

std::string FormatList(const char* format, std::va_list arguments) {
  char shorter[512];
  std::va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(shorter, sizeof(shorter), format, measured);
  va_end(measured);
  if (length < 0) return {};
  if (static_cast<std::size_t>(length) < sizeof(shorter)) return {shorter, static_cast<std::size_t>(length)};
  std::string text(static_cast<std::size_t>(length), '\0');
  // A string's buffer has room for the terminating NUL, which may be overwritten with NUL.
  if (std::vsnprintf(text.data(), text.size() + 1, format, arguments) != length) return {};
  return text;
}

namespace StringUtil {

std::string str_fmt(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::string text = FormatList(format, arguments);
  va_end(arguments);
  return text;
}

std::size_t str_len(std::string_view text, int code_page) {
  if (code_page != kCodePageUtf8) return text.size();
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size(); ++count) {
    const std::size_t length = Utf8::SequenceLength(text, at);
    at += length == 0 ? 1 : length;
  }
  return count;
}

std::string StringReplace(std::string_view text, std::string_view from, std::string_view to) {
  if (from.empty()) return std::string(text);
  std::string replaced;
  replaced.reserve(text.size());
  std::size_t at = 0;
  for (std::size_t hit = text.find(from); hit != std::string_view::npos; hit = text.find(from, at)) {
    replaced.append(text, at, hit - at).append(to);
    at = hit + from.size();
  }
  return replaced.append(text, at);
}

bool ContainsIllegalCharacters(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool allowed_control = byte == '\t' || byte == '\n' || byte == '\r';
    if ((byte < 0x20 && !allowed_control) || byte == 0x7F) return true;
    const std::size_t length = Utf8::SequenceLength(text, at);
    if (length == 0) return true;
    at += length;
  }
  return false;
}

}  // namespace StringUtil
}  // namespace Orv::Base
