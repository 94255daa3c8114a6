#include "platform/SqlText.h"

#include <cstdarg>

#include "OrvBase/Format.h"
#include "OrvBase/StringUtil.h"
#include "OrvBase/Utf8.h"

namespace platform::SqlText {
namespace {

using Orv::Base::StringUtil::StringReplace;

constexpr std::string_view kNul("\0", 1);

}  // namespace

std::string Escaped(std::string_view text) { return StringReplace(Unescaped(text), "'", "''"); }

std::string Literal(std::string_view text) { return "'" + Escaped(text) + "'"; }

std::string Unescaped(std::string_view text) { return StringReplace(text, kNul, "\xFF"); }

std::string Repaired(std::string_view text) { return Orv::Base::Utf8::Repaired(Unescaped(text)); }

std::string Format(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::string text = Orv::Base::FormatList(format, arguments);
  va_end(arguments);
  if (text.empty()) text = kNul;
  return text;
}

}  // namespace platform::SqlText
