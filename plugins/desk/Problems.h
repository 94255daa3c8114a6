#pragma once

#include <cstdint>
#include <string>

#include "platform/HttpRoutes.h"

namespace desk {

/// The pair of codes that an answer of the evidence plugin ends with; (0, 0) for success.
struct ErrorPair {
  std::int64_t module = 0;
  std::int64_t code = 0;

  bool operator==(const ErrorPair&) const = default;
};

/// Codes that the desk tells apart.
inline constexpr std::int64_t kBadInput = 2;
inline constexpr std::int64_t kNoSuchEvidence = 9804;

/// A failure of the evidence plugin as a problem in words.
[[nodiscard]] platform::HttpResponse ProblemOfPair(const ErrorPair& pair);

/// 400, with a sentence.
[[nodiscard]] platform::HttpResponse BadRequest(std::string detail);
/// 422, with a sentence: understood, but against the rules.
[[nodiscard]] platform::HttpResponse Unprocessable(std::string code, std::string detail);
[[nodiscard]] platform::HttpResponse NoSuchEvidence();
/// 503: the database, or the plugin that serves the evidences, is away, or what was read found no memory.
[[nodiscard]] platform::HttpResponse Unavailable();

}  // namespace desk
