#include "JsonLogLine.h"

#include <charconv>
#include <optional>

#include "Utf8.h"
#include "platform/RequestContext.h"

namespace platform {
namespace {

/// Where in the program a text was written.
struct Origin {
  std::string_view function;
  std::string_view file;
  std::string_view line;
};

/// Of "[function]… [file(line)]"; none of any other text.
std::optional<Origin> OriginOf(std::string_view text) {
  const auto function_end = text.find(']');
  const auto file_begin = text.rfind('[');
  const auto line_begin = text.rfind('(');
  if (!text.starts_with('[') || !text.ends_with(")]") || file_begin == 0 || line_begin < file_begin) {
    return std::nullopt;
  }
  const auto line = text.substr(line_begin + 1, text.size() - line_begin - 3);
  unsigned number = 0;
  const auto [stop, fault] = std::from_chars(line.data(), line.data() + line.size(), number);
  if (fault != std::errc() || stop != line.data() + line.size()) return std::nullopt;
  return Origin{text.substr(1, function_end - 1), text.substr(file_begin + 1, line_begin - file_begin - 1), line};
}

void AppendString(std::string& line, std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  line += '"';
  for (const char c : Orv::Base::Utf8::Repaired(text)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 0x7f) {
      line.append("\\u00").append({kDigits[byte >> 4U], kDigits[byte & 0xFU]});
    } else {
      if (c == '"' || c == '\\') line += '\\';
      line += c;
    }
  }
  line += '"';
}

/// A member that is not the first.
void AppendMember(std::string& line, std::string_view name, std::string_view text) {
  line.append(",\"").append(name).append("\":");
  AppendString(line, text);
}

}  // namespace

std::string JsonLogLine(std::string_view time, int level, std::string_view tag, std::string_view text,
                        std::size_t left_out) {
  std::string line = R"({"ts":")";
  line.append(time).append(R"(","level":)").append(std::to_string(level));
  AppendMember(line, "tag", tag);
  if (const auto* const request = RequestContext::Current()) {
    AppendMember(line, "request_id", request->request_id);
    if (!request->user_name.empty()) AppendMember(line, "user", request->user_name);
  }
  if (const auto origin = OriginOf(text)) {
    AppendMember(line, "function", origin->function);
    AppendMember(line, "file", origin->file);
    line.append(R"(,"line":)").append(origin->line);
  }
  AppendMember(line, "text", text);
  if (left_out != 0) line.append(R"(,"left_out_bytes":)").append(std::to_string(left_out));
  return line + "}\n";
}

}  // namespace platform
