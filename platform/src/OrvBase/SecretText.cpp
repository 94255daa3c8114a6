#include "platform/SecretText.h"

#include <utility>

namespace platform {
namespace {

constexpr std::string_view kInPlace = "…";

thread_local const SecretText* innermost = nullptr;

void LeaveOut(std::string& line, std::string_view secret) {
  if (secret.empty()) return;
  for (auto at = line.find(secret); at != std::string::npos; at = line.find(secret, at + kInPlace.size()))
    line.replace(at, secret.size(), kInPlace);
}

}  // namespace

SecretText::SecretText(std::string_view text) : text_(text), outer_(std::exchange(innermost, this)) {}

SecretText::~SecretText() { innermost = outer_; }

std::string SecretText::LeftOut(std::string line) {
  for (const auto* secret = innermost; secret != nullptr; secret = secret->outer_)
    LeaveOut(line, secret->text_);
  return line;
}

}  // namespace platform
