// The end of a server: what becomes of the requests in flight.

#include <microhttpd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <ranges>

#include "HostLog.h"
#include "http/HttpExchange.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

/// What only reads is cancelled after the first of these, and given up after the second.
constexpr std::chrono::seconds kReadsEndBy{5};
constexpr std::chrono::seconds kReadsAnsweredBy{7};
/// For the last answers on their way.
constexpr std::chrono::seconds kLastAnswers{1};
constexpr std::size_t kNamedRequests = 20;

}  // namespace

HttpServer::Drained HttpServer::Drain(std::chrono::milliseconds timeout) {
  {
    const std::lock_guard lock(mutex_);
    if (stopping_) return {};
    stopping_ = true;
  }
  const int listen_fd = MHD_quiesce_daemon(daemon_);
  // From here on clients are refused instead of waiting in the backlog until the socket is closed.
  if (listen_fd >= 0) shutdown(listen_fd, SHUT_RD);
  const auto start = Clock::now();
  const auto within = [&](std::chrono::milliseconds time) { return start + std::min(time, timeout); };
  if (EndsBy(within(kReadsEndBy), Awaited::kAll)) return {};
  CancelReads();
  if (EndsBy(within(kReadsAnsweredBy), Awaited::kAll)) return {};
  EndsBy(within(timeout), Awaited::kWriting);
  const auto begun = GiveUp();
  EndsBy(Clock::now() + kLastAnswers, Awaited::kAll);
  Drained drained;
  for (const auto& exchange : begun) {
    if (exchange->Writes()) drained.lost = true;
    if (exchange->Runs()) drained.inside = true;
  }
  const std::lock_guard lock(mutex_);
  if (std::ranges::any_of(in_flight_, &Exchange::Writes)) drained.lost = true;
  return drained;
}

bool HttpServer::EndsBy(Clock::time_point deadline, Awaited awaited) {
  std::unique_lock lock(mutex_);
  return completed_.wait_until(lock, deadline, [this, awaited] {
    return in_flight_.empty() || (awaited == Awaited::kWriting && std::ranges::none_of(in_flight_, &Exchange::Writes));
  });
}

void HttpServer::CancelReads() {
  const std::lock_guard lock(mutex_);
  for (auto* const exchange : in_flight_)
    exchange->Cancel();
}

/// Answers the requests that have no answer yet; those of them whose task runs.
std::vector<std::shared_ptr<HttpServer::Exchange>> HttpServer::GiveUp() {
  constexpr std::array kPlaces = {"before it was begun", "in its middle", "with its answer on the way"};
  abandoned_ = true;
  std::vector<std::shared_ptr<Exchange>> begun;
  const std::lock_guard lock(mutex_);
  std::size_t named = 0;
  for (auto* const exchange : in_flight_) {
    const auto place = exchange->GiveUp();
    exchange->BreakStreams();
    if (place == Exchange::GivenUp::kInsideItsTask) begun.push_back(exchange->shared_from_this());
    if (++named > kNamedRequests) continue;
    LogHost(kLogFailure, "given up %s: %.200s", kPlaces.at(static_cast<std::size_t>(place)), exchange->Line().c_str());
  }
  if (named > kNamedRequests) LogHost(kLogFailure, "given up: %zu more requests", named - kNamedRequests);
  return begun;
}

}  // namespace host
