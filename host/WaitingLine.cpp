#include "WaitingLine.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace host {
namespace {

/// How many are tried at the end of a job, which leaves one place: a client may have its part of the queue already, and
/// what was left so is made up for.
constexpr int kTries = 4;

}  // namespace

WaitingLine::Clients::iterator WaitingLine::Find(const Request& request) {
  return std::ranges::find_if(clients_, [&request](const Client& client) {
    return client.pool == request.pool && client.name == request.client;
  });
}

void WaitingLine::Join(Request request) {
  ++waiting_;
  const std::lock_guard lock(mutex_);
  auto place = Find(request);
  if (place == clients_.end()) {
    if (request.submit()) {
      --waiting_;
      return;
    }
    place = clients_.insert(clients_.end(), {request.pool, request.client, {}});
  }
  place->waiters.push_back({std::move(request), Clock::now() + patience_});
}

void WaitingLine::Advance(const WorkerPool* pool) {
  if (IsEmpty()) return;
  const std::lock_guard lock(mutex_);
  for (int tries = 0; tries < kTries; ++tries) {
    const auto client = std::ranges::find(clients_, pool, &Client::pool);
    if (client == clients_.end()) return;
    const bool is_submitted = client->waiters.front().request.submit();
    if (is_submitted) {
      client->waiters.pop_front();
      --waiting_;
    }
    clients_.splice(clients_.end(), clients_, client);
    if (client->waiters.empty()) clients_.erase(client);
    if (!is_submitted && clients_.size() == 1) return;
  }
}

void WaitingLine::Refuse(Clock::time_point now) {
  if (IsEmpty()) return;
  std::vector<Waiter> late;
  {
    const std::lock_guard lock(mutex_);
    for (auto next = clients_.begin(); next != clients_.end();) {
      const auto client = next++;
      auto& waiters = client->waiters;
      for (; !waiters.empty() && waiters.front().deadline <= now; --waiting_) {
        late.push_back(std::move(waiters.front()));
        waiters.pop_front();
      }
      if (waiters.empty()) clients_.erase(client);
    }
  }
  for (const auto& waiter : late)
    waiter.request.late();
}

}  // namespace host
