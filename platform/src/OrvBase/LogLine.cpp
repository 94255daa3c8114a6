#include "LogLine.h"

#include <chrono>
#include <cstdio>
#include <ctime>

#include "OrvBase/Log.h"
#include "OrvBase/StringUtil.h"

namespace platform {
namespace {

/// Longer texts are cut: lines contain client input, and what waits to be written must fit into memory.
constexpr std::size_t kLongestText = 64UL * 1024;
constexpr std::string_view kTimeForm = "2026-01-31T23:59:59.999Z ";

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
                         static_cast<char>('0' + fraction % 10), 'Z', ' '};
  line.append(text).append(digits, sizeof(digits));
}

void AppendText(std::string& line, std::string_view text) {
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\n' && text[at] != '\r') continue;
    if (text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n') ++at;
    line.append(text.substr(begin, at + 1 - begin)).append(1, '\t');
    begin = at + 1;
  }
  line.append(text.substr(begin));
}

}  // namespace

std::string LogLine(int level, std::string_view tag, std::string_view text) {
  constexpr std::size_t kRest = 64;
  const auto kept = text.substr(0, kLongestText);
  std::string line;
  line.reserve(kTimeForm.size() + tag.size() + kept.size() + kRest);
  AppendTime(line);
  line.append(std::to_string(level)).append(" ").append(tag).append(" ");
  AppendText(line, kept);
  if (kept.size() < text.size()) line += Orv::Base::StringUtil::str_fmt(" [cut, %zu bytes in all]", text.size());
  line += '\n';
  return line;
}

std::string LossLine(std::string_view next, std::size_t lost) {
  return std::string(next.substr(0, kTimeForm.size())) + std::to_string(Orv::Base::kLogAnomaly) + " platform.log " +
         std::to_string(lost) + " log lines were given up\n";
}

}  // namespace platform
