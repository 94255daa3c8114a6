#include "OrvProto/JsonNodeWriter.h"

#include <string>

namespace xmlpacket {
namespace {

using Orv::Base::Utf8::IsValid;
using Orv::Base::Utf8::Repaired;

/// Whether `text` is a JSON integer: not empty, no leading zeros.
bool IsJsonInteger(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return false;
  return text.size() == 1 || text.front() != '0';
}

}  // namespace

void JsonNodeWriter::WriteKey(std::string_view name) {
  if (IsValid(name)) {
    out_.Key(name);
  } else {
    out_.Key(Repaired(name));
  }
}

void JsonNodeWriter::WriteScalar(std::string_view value, bool bare_number) {
  if (bare_number && IsJsonInteger(value)) {
    out_.RawValue(value.data(), value.size(), rapidjson::kNumberType);
  } else if (IsValid(value)) {
    out_.String(value);
  } else {
    out_.String(Repaired(value));
  }
}

}  // namespace xmlpacket
