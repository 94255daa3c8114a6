#include "OrvProto/JsonNodeWriter.h"

namespace xmlpacket {
namespace {

/// Whether `text` is a JSON integer: not empty, no leading zeros.
bool IsJsonInteger(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return false;
  return text.size() == 1 || text.front() != '0';
}

rapidjson::SizeType SizeOf(const std::string& text) { return static_cast<rapidjson::SizeType>(text.size()); }

}  // namespace

void JsonNodeWriter::WriteKey(const std::string& name) {
  const std::string key = Orv::Base::Utf8::Repaired(name);
  out_.Key(key.data(), SizeOf(key));
}

void JsonNodeWriter::WriteScalar(const std::string& value, bool bare_number) {
  if (bare_number && IsJsonInteger(value)) {
    out_.RawValue(value.data(), value.size(), rapidjson::kNumberType);
    return;
  }
  if (Orv::Base::Utf8::IsValid(value)) {
    out_.String(value.data(), SizeOf(value));
  } else {
    const std::string text = Orv::Base::Utf8::Repaired(value);
    out_.String(text.data(), SizeOf(text));
  }
}

}  // namespace xmlpacket
