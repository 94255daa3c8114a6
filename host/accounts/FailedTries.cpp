#include "accounts/FailedTries.h"

#include <openssl/sha.h>

#include <algorithm>
#include <array>

#include "http/IpAddress.h"

namespace host {
namespace {

constexpr std::size_t kLongestPlainKey = 64;

/// `key`, or a digest of a long one, since clients choose names of any length. The two differ in length.
std::string ShortKey(const std::string& key) {
  if (key.size() <= kLongestPlainKey) return key;
  std::array<unsigned char, SHA512_DIGEST_LENGTH> digest{};
  SHA512(reinterpret_cast<const unsigned char*>(key.data()), key.size(), digest.data());
  return "#" + std::string(digest.begin(), digest.end());
}

}  // namespace

FailedTries::FailedTries(const Rules& rules, std::function<Clock::time_point()> now)
    : rules_(rules), now_(std::move(now)) {}

std::optional<FailedTries::Try> FailedTries::Begin(const std::string& key) {
  if (!rules_.on) return Try(nullptr, {});
  Try leave(nullptr, EntryKey(key));
  std::unique_lock lock(mutex_);
  for (;;) {
    ForgetLapsed();
    auto& entry = FindOrAdd(leave.key_)->second;
    if (entry.queue == &frozen_) return std::nullopt;
    if (entry.failed + entry.under_way < rules_.limit) {
      ++entry.under_way;
      leave.tries_ = this;
      return leave;
    }
    try_ended_.wait(lock);
  }
}

void FailedTries::CountFailed(const std::string& key) {
  if (!rules_.on) return;
  const std::lock_guard lock(mutex_);
  ForgetLapsed();
  AddFailed(FindOrAdd(EntryKey(key)));
}

bool FailedTries::IsFrozen(const std::string& key) {
  const std::lock_guard lock(mutex_);
  ForgetLapsed();
  const auto* const entry = Find(EntryKey(key));
  return entry != nullptr && entry->queue == &frozen_;
}

int FailedTries::Left(const std::string& key) {
  const std::lock_guard lock(mutex_);
  ForgetLapsed();
  const auto* const entry = Find(EntryKey(key));
  return entry == nullptr ? rules_.limit : std::max(0, rules_.limit - entry->failed);
}

std::size_t FailedTries::Frozen() {
  const std::lock_guard lock(mutex_);
  ForgetLapsed();
  return frozen_.size();
}

void FailedTries::Try::End(Outcome outcome) {
  if (auto* const tries = std::exchange(tries_, nullptr)) tries->EndTry(key_, outcome);
}

void FailedTries::EndTry(const std::string& short_key, Try::Outcome outcome) {
  {
    const std::lock_guard lock(mutex_);
    ForgetLapsed();
    // Found: an entry with a pending try is never erased.
    const auto at = entries_.find(short_key);
    --at->second.under_way;
    const bool forget = outcome == Try::Outcome::kSucceeded && at->second.queue != &frozen_;
    if (outcome == Try::Outcome::kFailed) {
      AddFailed(at);
    } else if (forget || at->second.failed == 0) {
      Forget(at);
    }
  }
  try_ended_.notify_all();
}

std::string FailedTries::EntryKey(const std::string& key) const {
  return ShortKey(rules_.counted_as == nullptr ? key : rules_.counted_as(key));
}

FailedTries::Entry* FailedTries::Find(const std::string& short_key) {
  const auto found = entries_.find(short_key);
  return found == entries_.end() ? nullptr : &found->second;
}

FailedTries::Entries::iterator FailedTries::FindOrAdd(const std::string& short_key) {
  const auto found = entries_.find(short_key);
  if (found != entries_.end()) return found;
  while (entries_.size() >= rules_.max_keys && (GiveUpOldest(counted_) || GiveUpOldest(frozen_))) {
  }
  return entries_.try_emplace(short_key).first;
}

void FailedTries::AddFailed(Entries::iterator at) {
  auto& [key, entry] = *at;
  // Another failed try must not extend a freeze.
  if (entry.queue == &frozen_) return;
  ++entry.failed;
  if (entry.queue != nullptr) entry.queue->erase(entry.place);
  entry.queue = entry.failed >= rules_.limit ? &frozen_ : &counted_;
  entry.place = entry.queue->insert(entry.queue->end(), &key);
  // Read under the mutex, so that a queue is sorted by time.
  entry.since = now_();
}

void FailedTries::Forget(Entries::iterator at) {
  auto& entry = at->second;
  if (entry.queue != nullptr) std::exchange(entry.queue, nullptr)->erase(entry.place);
  entry.failed = 0;
  if (entry.under_way == 0) entries_.erase(at);
}

void FailedTries::ForgetLapsed() {
  const auto now = now_();
  ForgetLapsed(counted_, now);
  ForgetLapsed(frozen_, now);
}

void FailedTries::ForgetLapsed(Queue& queue, Clock::time_point now) {
  while (!queue.empty()) {
    const auto first = entries_.find(*queue.front());
    if (now - first->second.since < rules_.freeze) return;
    Forget(first);
  }
}

bool FailedTries::GiveUpOldest(const Queue& queue) {
  // At most as many entries as there are trying threads have a pending try.
  const auto idle = std::ranges::find_if(
      queue, [this](const std::string* key) { return entries_.find(*key)->second.under_way == 0; });
  if (idle == queue.end()) return false;
  Forget(entries_.find(**idle));
  return true;
}

FailedTries::Rules LoginTries::ByNetwork(FailedTries::Rules rules) {
  rules.counted_as = &ClientNetwork;
  return rules;
}

}  // namespace host
