#include "JsonText.h"

#include <rapidjson/reader.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "KelpUtils/Path.h"
#include "OrvBase/Utf8.h"

namespace kelp {
namespace {

using Orv::Base::Utf8::IsValid;
using rapidjson::SizeType;

/// Hands the reader's events on to the document and stops at what the document must not hold.
class GuardingHandler {
 public:
  GuardingHandler(rapidjson::Document& target, const JsonBounds& bounds)
      : target_(target), depth_left_(bounds.depth), values_left_(bounds.values) {}

  bool Null() { return Counts() && target_.Null(); }
  bool Bool(bool value) { return Counts() && target_.Bool(value); }
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }

  /// The only event for numbers. The reader's own conversion overflows on extreme exponents.
  bool RawNumber(const char* text, SizeType length, bool) {
    if (!Counts()) return false;
    const std::string_view digits(text, length);
    std::int64_t whole = 0;
    if (ReadDecimal(digits, whole)) return target_.Int64(whole);
    std::uint64_t large = 0;
    if (ReadDecimal(digits, large)) return target_.Uint64(large);
    double real = 0;
    if (ReadDecimal(digits, real)) return target_.Double(real);
    // Beyond the range of a double: what lies closer to zero than any is as good as zero.
    real = std::strtod(std::string(digits).c_str(), nullptr);
    return std::abs(real) < 1 && target_.Double(real);
  }

  bool String(const char* text, SizeType length, bool copy) {
    return Counts() && IsValid({text, length}) && target_.String(text, length, copy);
  }
  bool Key(const char* text, SizeType length, bool copy) {
    return IsValid({text, length}) && target_.Key(text, length, copy);
  }

  bool StartObject() { return Counts() && --depth_left_ >= 0 && target_.StartObject(); }
  bool StartArray() { return Counts() && --depth_left_ >= 0 && target_.StartArray(); }
  bool EndObject(SizeType count) {
    ++depth_left_;
    return target_.EndObject(count);
  }
  bool EndArray(SizeType count) {
    ++depth_left_;
    return target_.EndArray(count);
  }

 private:
  /// Whether one more value may come.
  bool Counts() { return values_left_ != 0 && values_left_-- != 0; }

  rapidjson::Document& target_;
  int depth_left_;
  std::size_t values_left_;
};

/// Encoding is checked beforehand, and what escapes stand for in the handler.
constexpr unsigned kParseFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;

/// How many bytes of `text` stand before the first that is NUL or begins no valid UTF-8 sequence.
std::size_t ReadableLength(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && text[at] != '\0') {
    const auto length = Orv::Base::Utf8::SequenceLength(text, at);
    if (length == 0) break;
    at += length;
  }
  return at;
}

}  // namespace

bool ParseJsonText(const std::string& text, const JsonBounds& bounds, rapidjson::Document& out, std::size_t* fault_at) {
  // The reader takes a NUL byte for the end of the text, and itself reads past a sequence that is cut there.
  if (text.find('\0') != std::string::npos || !IsValid(text)) {
    if (fault_at != nullptr) *fault_at = ReadableLength(text);
    return false;
  }
  bool parsed = false;
  const auto read = [&](rapidjson::Document& target) {
    GuardingHandler handler(target, bounds);
    rapidjson::StringStream stream(text.c_str());
    const rapidjson::ParseResult result = rapidjson::Reader().Parse<kParseFlags>(stream, handler);
    parsed = !result.IsError();
    if (fault_at != nullptr) *fault_at = result.Offset();
    return parsed;
  };
  out.Populate(read);
  return parsed;
}

}  // namespace kelp
