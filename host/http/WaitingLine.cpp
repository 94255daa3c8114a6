#include "http/WaitingLine.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/Guard.h"

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
  bool waits = false;
  const auto leave = [&](void*) { waiting_ -= waits ? 0 : 1; };
  const std::unique_ptr<void, decltype(leave)> leaver(this, leave);
  const std::lock_guard lock(mutex_);
  auto client = Find(request);
  if (client == clients_.end()) {
    if (request.submit()) return;
    Clients one{{request.pool, request.client, {}}};
    one.front().waiters.push_back({std::move(request), Clock::now() + patience_});
    clients_.splice(clients_.end(), one);
  } else {
    client->waiters.push_back({std::move(request), Clock::now() + patience_});
  }
  waits = true;
}

void WaitingLine::Advance(const WorkerPool* pool) {
  if (IsEmpty()) return;
  const std::lock_guard lock(mutex_);
  platform::Guard([&] { SubmitNext(pool); }, [](const char* /*reason*/) {});
}

void WaitingLine::SubmitNext(const WorkerPool* pool) {
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
  // Taken out by links of the lists alone, which cannot fail.
  std::list<Waiter> late;
  {
    const std::lock_guard lock(mutex_);
    for (auto next = clients_.begin(); next != clients_.end();) {
      const auto client = next++;
      auto& waiters = client->waiters;
      for (; !waiters.empty() && waiters.front().deadline <= now; --waiting_)
        late.splice(late.end(), waiters, waiters.begin());
      if (waiters.empty()) clients_.erase(client);
    }
  }
  for (const auto& waiter : late)
    waiter.request.late();
}

}  // namespace host
