#include "LogLine.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "JsonLogLine.h"
#include "OrvBase/Log.h"
#include "OrvBase/StringUtil.h"

namespace platform {
namespace {

/// Longer texts are cut: lines contain client input, and what waits to be written must fit into memory.
constexpr std::size_t kLongestText = 64UL * 1024;
constexpr std::string_view kTimeForm = "2026-01-31T23:59:59.999Z";
constexpr std::string_view kBeforeTimeInJson = R"({"ts":")";

void AppendTime(std::string& line) {
  using namespace std::chrono;
  // Most lines of a thread come in the second of the one before.
  thread_local std::time_t second = -1;
  thread_local char text[24];
  const auto now = floor<milliseconds>(system_clock::now());
  const auto whole = floor<seconds>(now);
  if (const auto time = system_clock::to_time_t(whole); time != second) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S.", &parts);
    second = time;
  }
  const auto fraction = static_cast<unsigned>((now - whole).count());
  const char digits[] = {static_cast<char>('0' + fraction / 100), static_cast<char>('0' + fraction / 10 % 10),
                         static_cast<char>('0' + fraction % 10), 'Z'};
  line.append(text).append(digits, sizeof(digits));
}

constexpr unsigned char kTwoByteControls = 0xC2;

/// What stands for itself within a line. Those of the second set of control characters are two bytes of UTF-8, of which
/// the first begins other characters, too.
constexpr auto kIsPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t c = 0; c < plain.size(); ++c)
    plain.at(c) = (c >= ' ' && c != 0x7f && c != kTwoByteControls) || c == '\t';
  return plain;
}();

void AppendEscaped(std::string& line, std::string_view bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    line.append({'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0xFU]});
  }
}

/// Bytes of the control character that `rest`, no line break, begins with; 0 for a character of another kind.
std::size_t ControlSize(std::string_view rest) {
  if (static_cast<unsigned char>(rest.front()) != kTwoByteControls) return 1;
  const auto second = rest.size() > 1 ? static_cast<unsigned char>(rest[1]) : 0U;
  return second >= 0x80U && second <= 0x9FU ? 2 : 0;
}

/// Appends what begins at `rest` and may not stand for itself, and returns its size. A line break is kept, with a tab
/// behind it, so that what follows begins no line of the log.
std::size_t AppendSpecial(std::string& line, std::string_view rest) {
  for (const std::string_view line_break : {"\n", "\r\n"}) {
    if (!rest.starts_with(line_break)) continue;
    line.append(line_break).append(1, '\t');
    return line_break.size();
  }
  const auto size = ControlSize(rest);
  AppendEscaped(line, rest.substr(0, size));
  if (size == 0) line.append(1, rest.front());
  return std::max<std::size_t>(size, 1);
}

void AppendText(std::string& line, std::string_view text) {
  while (!text.empty()) {
    const auto* const special =
        std::ranges::find_if_not(text, [](char c) { return kIsPlain[static_cast<unsigned char>(c)]; });
    const auto plain = static_cast<std::size_t>(special - text.begin());
    line.append(text.substr(0, plain));
    text.remove_prefix(plain);
    if (!text.empty()) text.remove_prefix(AppendSpecial(line, text));
  }
}

}  // namespace

std::string LogLine(LogFormat format, int level, std::string_view tag, std::string_view text) {
  constexpr std::size_t kRest = 64;
  const auto kept = text.substr(0, kLongestText);
  std::string line;
  if (format == LogFormat::kJson) {
    AppendTime(line);
    return JsonLogLine(line, level, tag, kept, text.size() - kept.size());
  }
  line.reserve(kTimeForm.size() + tag.size() + kept.size() + kRest);
  AppendTime(line);
  line.append(" ").append(std::to_string(level)).append(" ").append(tag).append(" ");
  AppendText(line, kept);
  if (kept.size() < text.size()) line += Orv::Base::StringUtil::str_fmt(" [cut, %zu bytes in all]", text.size());
  line += '\n';
  return line;
}

std::string LossLine(LogFormat format, std::string_view next, std::size_t lost) {
  constexpr char kTag[] = "platform.log";
  const auto text = std::to_string(lost) + " log lines were given up";
  const auto is_json = format == LogFormat::kJson;
  const auto time = next.substr(is_json ? kBeforeTimeInJson.size() : 0, kTimeForm.size());
  if (is_json) return JsonLogLine(time, Orv::Base::kLogAnomaly, kTag, text);
  return std::string(time) + " " + std::to_string(Orv::Base::kLogAnomaly) + " " + kTag + " " + text + "\n";
}

}  // namespace platform
