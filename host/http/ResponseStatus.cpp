#include "http/ResponseStatus.h"

#include <charconv>

namespace host {
namespace {

bool Skip(std::string_view& text, std::string_view begin) {
  if (!text.starts_with(begin)) return false;
  text.remove_prefix(begin.size());
  return true;
}

/// Takes a whole number and what ends it; false for anything else.
bool TakeNumber(std::string_view& text, std::int64_t& number) {
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (fault != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return text.starts_with(',') || text.starts_with('}');
}

}  // namespace

std::optional<ErrorPair> PairOf(std::string_view body) {
  ErrorPair pair;
  const bool has_pair = Skip(body, R"({"ResponseStatus":{"ErrorModule":)") && TakeNumber(body, pair.module) &&
                        Skip(body, R"(,"ErrorCode":)") && TakeNumber(body, pair.code);
  return has_pair ? std::optional(pair) : std::nullopt;
}

}  // namespace host
