#include "FileIds.h"

#include <charconv>

namespace FileManager {

std::optional<std::int32_t> ParseFileId(std::string_view text) {
  std::int32_t id = -1;
  const char* const end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, id);
  // "-0" is a number to from_chars.
  if (fault != std::errc() || stop != end || text.front() == '-') return std::nullopt;
  return id;
}

std::optional<FileIds> ParseFileIds(std::string_view text) {
  FileIds ids;
  for (;;) {
    const auto comma = text.find(',');
    const auto id = ParseFileId(text.substr(0, comma));
    if (!id) return std::nullopt;
    ids.insert(*id);
    if (comma == std::string_view::npos) return ids;
    text.remove_prefix(comma + 1);
  }
}

}  // namespace FileManager
