#include "Problems.h"

#include <utility>

#include "platform/ErrorWords.h"

namespace desk {
namespace {

using platform::HttpResponse;

constexpr std::int64_t kObjectMissing = 1;
constexpr unsigned kBadRequest = 400;
constexpr unsigned kUnprocessable = 422;
constexpr unsigned kInternal = 500;
constexpr unsigned kUnavailable = 503;

/// "no such evidence" becomes "no_such_evidence".
std::string WordOf(std::string_view words) {
  std::string word;
  for (const char c : words) {
    const bool is_part = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (is_part) word += c;
    if (c == ' ') word += '_';
  }
  return word;
}

std::string Sentence(std::string_view words, std::string_view what_to_do) {
  std::string sentence(words);
  if (!sentence.empty() && sentence[0] >= 'a' && sentence[0] <= 'z') sentence[0] = static_cast<char>(sentence[0] - 32);
  return sentence.append(": ").append(what_to_do) + ".";
}

}  // namespace

HttpResponse ProblemOfPair(const ErrorPair& pair) {
  // The desk's own messages miss nothing.
  if (pair == ErrorPair{0, kObjectMissing}) return Unavailable();
  const auto* const found = platform::FindErrorWords(pair.module, pair.code);
  if (found == nullptr) {
    return HttpResponse::Problem(
        kInternal, "internal_error",
        "Error " + std::to_string(pair.code) + " of module " + std::to_string(pair.module) + ".");
  }
  // They are read, and break a rule.
  const unsigned status = found->status == kBadRequest ? kUnprocessable : found->status;
  return HttpResponse::Problem(status, WordOf(found->words), Sentence(found->words, found->what_to_do));
}

HttpResponse BadRequest(std::string detail) {
  return HttpResponse::Problem(kBadRequest, "bad_request", std::move(detail));
}

HttpResponse Unprocessable(std::string code, std::string detail) {
  return HttpResponse::Problem(kUnprocessable, std::move(code), std::move(detail));
}

HttpResponse NoSuchEvidence() { return ProblemOfPair({0, kNoSuchEvidence}); }

HttpResponse Unavailable() {
  return HttpResponse::Problem(kUnavailable, "unavailable", "The evidences cannot be read at present: check /ready.");
}

}  // namespace desk
