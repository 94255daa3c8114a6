#include "JsonText.h"

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

constexpr char kNumberTooBig[] = "a number beyond the range of a double";

/// Forwards the reader's events to the document and stops at what it must not contain.
class GuardingHandler {
 public:
  GuardingHandler(JsonDocument& target, const JsonBounds& bounds) : target_(target), bounds_(bounds) {}

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
    // Out of range for a double: an underflow is accepted as zero.
    real = std::strtod(std::string(digits).c_str(), nullptr);
    return Holds(std::abs(real) < 1, kNumberTooBig) && target_.Double(real);
  }

  bool String(const char* text, SizeType length, bool copy) {
    return Counts() && IsText({text, length}) && target_.String(text, length, copy);
  }
  bool Key(const char* text, SizeType length, bool copy) {
    return IsText({text, length}) && target_.Key(text, length, copy);
  }

  bool StartObject() { return Counts() && Nests() && target_.StartObject(); }
  bool StartArray() { return Counts() && Nests() && target_.StartArray(); }
  bool EndObject(SizeType count) {
    --depth_;
    return target_.EndObject(count);
  }
  bool EndArray(SizeType count) {
    --depth_;
    return target_.EndArray(count);
  }

  /// Why the handler stopped the reader; "" when it did not.
  [[nodiscard]] const std::string& Fault() const { return fault_; }

 private:
  bool Holds(bool holds, const char* fault) {
    if (!holds) fault_ = fault;
    return holds;
  }
  bool Counts() {
    if (values_ != bounds_.values) return ++values_ != 0;
    fault_ = "more than " + std::to_string(bounds_.values) + " values";
    return false;
  }
  bool Nests() {
    if (depth_ != bounds_.depth) return ++depth_ != 0;
    fault_ = "nested more than " + std::to_string(bounds_.depth) + " deep";
    return false;
  }
  bool IsText(std::string_view text) { return Holds(IsValid(text), "an escape that is no UTF-8"); }

  JsonDocument& target_;
  const JsonBounds& bounds_;
  int depth_ = 0;
  std::size_t values_ = 0;
  std::string fault_;
};

/// The encoding of the text is checked beforehand, that of decoded escapes in the handler.
constexpr unsigned kParseFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;

/// The number of bytes of `text` before the first that is NUL or does not start a valid UTF-8 sequence.
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

bool ParseJsonText(const std::string& text, const JsonBounds& bounds, JsonDocument& out, JsonFault* fault) {
  JsonFault unused;
  JsonFault& found = fault != nullptr ? *fault : unused;
  // The reader treats a NUL byte as the end of the text, and reads past it in a sequence truncated there.
  if (text.find('\0') != std::string::npos || !IsValid(text)) {
    found = {ReadableLength(text), "a NUL byte, or not UTF-8"};
    return false;
  }
  bool parsed = false;
  const auto read = [&](JsonDocument& target) {
    GuardingHandler handler(target, bounds);
    rapidjson::StringStream stream(text.c_str());
    const rapidjson::ParseResult result = JsonReader().Parse<kParseFlags>(stream, handler);
    parsed = !result.IsError();
    found = {result.Offset(), !handler.Fault().empty()                              ? handler.Fault()
                              : result.Code() == rapidjson::kParseErrorNumberTooBig ? kNumberTooBig
                                                                                    : "no JSON"};
    return parsed;
  };
  out.Populate(read);
  return parsed;
}

}  // namespace kelp
