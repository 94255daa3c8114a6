#include "metrics/HttpFigures.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "metrics/RouteNames.h"
#include "platform/ErrorWords.h"

namespace host {
namespace {

/// Seconds.
constexpr std::array kBounds = {0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0};

/// Any other one counts as the last.
constexpr std::array kStatuses = {200U, 201U, 202U, 204U, 206U, 304U, 400U, 401U, 403U, 404U, 405U, 409U, 410U, 412U,
                                  413U, 415U, 416U, 422U, 423U, 428U, 429U, 431U, 500U, 502U, 503U, 507U, 0U};

std::size_t StatusNumber(unsigned status) {
  const auto* const found = std::ranges::find(kStatuses, status);
  return std::min<std::size_t>(static_cast<std::size_t>(found - kStatuses.begin()), kStatuses.size() - 1);
}

platform::MetricLabel StatusLabel() {
  platform::MetricLabel label{"status", {}};
  for (const auto status : kStatuses)
    label.values.push_back(status == 0 ? "other" : std::to_string(status));
  return label;
}

/// Before the pairs of the one table of words.
enum FirstCode : std::size_t { kNoPair, kSuccess, kUnknown, kFirstCodes };

std::size_t CodeNumber(std::optional<ErrorPair> pair) {
  if (!pair) return kNoPair;
  if (*pair == ErrorPair{}) return kSuccess;
  const auto* const words = platform::FindErrorWords(pair->module, pair->code);
  if (words == nullptr) return kUnknown;
  return kFirstCodes + static_cast<std::size_t>(words - platform::AllErrorWords().data());
}

/// A code of another module than 0 has this before it: "31/3".
platform::MetricLabel CodeLabel() {
  platform::MetricLabel label{"code", {"none", "0", "unknown"}};
  for (const auto& words : platform::AllErrorWords()) {
    const auto code = std::to_string(words.code);
    label.values.push_back(words.module == 0 ? code : std::to_string(words.module) + "/" + code);
  }
  return label;
}

/// By the beginnings of the host's own sentences.
platform::Beginnings Reasons() {
  return platform::Beginnings({{"too many requests waiting", "busy"},
                               {"no memory for this request", "memory"},
                               {"the request cannot be noted", "not_noted"},
                               {"stopping", "stopping"},
                               {"no session", "no_session"},
                               {"the password must be changed", "password_change_required"},
                               {"no such path", "no_such_path"},
                               {"method not allowed", "method"},
                               {"header too large", "header_too_large"},
                               {"body too large", "body_too_large"},
                               {"internal error", "internal_error"}},
                              "bad_request");
}

std::size_t LoginResult(unsigned status) {
  constexpr std::array kStatusOfResult = {200U, 401U, 429U};
  return static_cast<std::size_t>(std::ranges::find(kStatusOfResult, status) - kStatusOfResult.begin());
}

std::uint64_t Nanoseconds(HttpFigures::Clock::duration duration) {
  return static_cast<std::uint64_t>(std::chrono::nanoseconds(duration).count());
}

}  // namespace

HttpFigures::HttpFigures()
    : reasons_(Reasons()),
      requests_("evidence_http_requests_total", "Answers, by what was asked for, HTTP status and code of the pair.",
                {{"route", RouteNames()}, StatusLabel(), CodeLabel()}),
      durations_("evidence_http_request_duration_seconds", "Time from the head of a request to its answer.", kBounds,
                 {"route", RouteNames()}),
      waits_("evidence_http_queue_wait_seconds", "Time that requests waited for a worker.", kBounds),
      refusals_("evidence_http_rejected_total", "Requests that the host itself refused.",
                {{"reason", reasons_.names()}}),
      logins_("evidence_logins_total", "Logins, by how they ended.",
              {{"result", {"ok", "refused", "frozen", "failed"}}}) {}

void HttpFigures::NoteAnswer(std::size_t route, unsigned status, std::optional<ErrorPair> pair, Clock::duration took) {
  requests_.Add({route, StatusNumber(status), CodeNumber(pair)});
  durations_.Observe(Nanoseconds(took), route);
  if (route == LoginRouteNumber()) logins_.Add({LoginResult(status)});
}

void HttpFigures::NoteRefusal(std::string_view reason) { refusals_.Add({reasons_.NumberOf(reason)}); }

void HttpFigures::NoteBegin(Clock::duration waited) { waits_.Observe(Nanoseconds(waited)); }

platform::MetricFamilies HttpFigures::Collect() const {
  platform::MetricFamilies families;
  families.push_back(requests_.Collect());
  families.push_back(durations_.Collect());
  families.push_back(waits_.Collect());
  families.push_back(refusals_.Collect());
  families.push_back(logins_.Collect());
  return families;
}

}  // namespace host
