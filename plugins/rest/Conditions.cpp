#include "rest/Conditions.h"

#include <algorithm>

namespace rest {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kWeak = "W/";

std::string_view Trimmed(std::string_view text) {
  const auto begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

/// Whether `is_match` holds for one of the tags of a header. No tag of ours has a comma.
template <class IsMatch>
bool AnyTag(std::string_view header, const IsMatch& is_match) {
  if (Trimmed(header) == "*") return true;
  while (!header.empty()) {
    const auto piece = header.substr(0, header.find(','));
    if (is_match(Trimmed(piece))) return true;
    header.remove_prefix(std::min(piece.size() + 1, header.size()));
  }
  return false;
}

bool AreAlike(std::string_view left, std::string_view right) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::ranges::equal(left, right, {}, lower, lower);
}

}  // namespace

std::string ETagOf(const std::string& digest) { return '"' + digest + '"'; }

bool IsMatched(std::string_view header, std::string_view tag) {
  return AnyTag(header, [tag](std::string_view sent) { return sent == tag; });
}

bool IsNoneMatched(std::string_view header, std::string_view tag) {
  return AnyTag(header, [tag](std::string_view sent) {
    if (sent.starts_with(kWeak)) sent.remove_prefix(kWeak.size());
    return sent == tag;
  });
}

bool HasMediaType(const platform::HttpRequest& request, std::initializer_list<std::string_view> types) {
  const auto header = platform::FieldOf(request.headers, "content-type");
  if (!header) return false;
  const auto sent = Trimmed(header->substr(0, header->find(';')));
  return std::ranges::any_of(types, [sent](std::string_view type) { return AreAlike(sent, type); });
}

}  // namespace rest
