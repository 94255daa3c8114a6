#include "accounts/PasswordRules.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "KelpUtils/StringFunctions.h"
#include "OrvBase/StringUtil.h"
#include "accounts/CommonPasswords.h"
#include "accounts/Secrets.h"

namespace host {
namespace {

namespace StringUtil = Orv::Base::StringUtil;

/// Runs of characters that follow each other that are too few to be a password.
constexpr int kFewRuns = 3;

/// Neighbours on a keyboard and in the alphabet; a zero follows the nine on one and precedes the one in the other.
constexpr std::array<std::string_view, 9> kRows = {"1234567890-=", "!@#$%^&*()_+", "qwertyuiop[]",
                                                   "qwertzuiop",   "azertyuiop",   "asdfghjkl;'",
                                                   "zxcvbnm,./",   "01234567890",  "abcdefghijklmnopqrstuvwxyz"};

bool HasControlCharacter(std::string_view text) {
  if (StringUtil::ContainsIllegalCharacters(text) || text.find_first_of("\t\r\n") != std::string_view::npos)
    return true;
  // U+0080 to U+009F.
  for (auto at = text.find('\xC2'); at != std::string_view::npos; at = text.find('\xC2', at + 1)) {
    if (at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xA0) return true;
  }
  return false;
}

/// `text` without what is not a letter around it.
std::string_view Core(std::string_view text) {
  const auto is_around = [](char c) { return static_cast<unsigned char>(c) < 0x80 && (c < 'a' || c > 'z'); };
  while (!text.empty() && is_around(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && is_around(text.back()))
    text.remove_suffix(1);
  return text;
}

/// Whether the list has `word`.
bool IsListed(std::string_view word) {
  constexpr std::string_view kBetween = " \n";
  auto rest = kCommonPasswords;
  for (auto begin = rest.find_first_not_of(kBetween); begin != std::string_view::npos;
       begin = rest.find_first_not_of(kBetween)) {
    rest.remove_prefix(begin);
    const auto listed = rest.substr(0, rest.find_first_of(kBetween));
    if (listed == word) return true;
    rest.remove_prefix(listed.size());
  }
  return false;
}

/// Blanks in it do not count.
bool IsCommon(std::string_view text) {
  std::string word(text);
  const WipeAtEnd wipe(word);
  std::erase(word, ' ');
  return IsListed(word) || IsListed(Core(word));
}

/// Whether the second is the first again, or beside it.
bool Follow(char first, char second) {
  if (first == second) return true;
  return std::ranges::any_of(kRows, [=](std::string_view row) {
    const char forward[] = {first, second, '\0'};
    const char backward[] = {second, first, '\0'};
    return row.find(forward) != std::string_view::npos || row.find(backward) != std::string_view::npos;
  });
}

bool HasFewRuns(std::string_view text) {
  int runs = 1;
  for (std::size_t at = 1; at < text.size(); ++at)
    runs += Follow(text[at - 1], text[at]) ? 0 : 1;
  return runs <= kFewRuns;
}

bool IsRepetition(std::string_view text) {
  for (std::size_t period = 1; period <= text.size() / 2; ++period) {
    if (text.substr(period) == text.substr(0, text.size() - period)) return true;
  }
  return false;
}

/// The name itself, and that of a domain account without its domain.
bool IsName(std::string_view text, std::string_view name) {
  const auto own = name.substr(name.find('\\') == std::string_view::npos ? 0 : name.find('\\') + 1);
  const auto is = [&](std::string_view other) {
    return !other.empty() && (text == other || Core(text) == Core(other));
  };
  return is(name) || is(own);
}

}  // namespace

std::string PasswordFault(const std::string& password, const std::string& user_name) {
  if (password.size() > kMaxPasswordBytes || HasControlCharacter(password) ||
      StringUtil::str_len(password, StringUtil::kCodePageUtf8) < kLeastPassword) {
    return "must have at least " + std::to_string(kLeastPassword) + " characters and at most " +
           std::to_string(kMaxPasswordBytes) + " bytes of UTF-8, and no control character";
  }
  std::string lower = kelp::ToLower(password);
  const WipeAtEnd wipe(lower);
  if (IsName(lower, kelp::ToLower(user_name))) return "must not be the user's name";
  if (IsCommon(lower)) return "must not be one of the commonest";
  if (IsRepetition(lower)) return "must not be a text repeated";
  if (HasFewRuns(lower)) return "must not be a row of characters that follow each other";
  return {};
}

}  // namespace host
