#include "accounts/Sessions.h"

#include <algorithm>

#include "accounts/Secrets.h"

namespace host {

namespace {

constexpr std::size_t kSecretBytes = 32;

}  // namespace

Sessions::Sessions(std::chrono::minutes idle, std::size_t limit, std::function<Clock::time_point()> now)
    : idle_(idle), limit_(limit), now_(std::move(now)) {}

Sessions::Opened Sessions::Open(UserRecord user, const std::string& client_address) {
  Opened opened{RandomHex(kSecretBytes), RandomHex(kSecretBytes)};
  auto seen = std::make_shared<TarnPlatform::Authentication::CUserSession>(user.id, user.name, client_address,
                                                                           static_cast<int>(ClientKind::kWeb));
  auto session = std::make_shared<const Session>(Session{std::move(user), opened.key, std::move(seen)});
  const auto now = now_();
  const std::lock_guard lock(mutex_);
  std::erase_if(entries_, [&](const auto& entry) { return Ended(entry.second, now); });
  if (entries_.size() >= limit_) {
    entries_.erase(std::ranges::min_element(entries_, {}, [](const auto& entry) { return entry.second.used; }));
  }
  entries_.insert_or_assign(opened.id, Entry{std::move(session), now});
  return opened;
}

std::shared_ptr<const Session> Sessions::Use(const std::string& id) {
  const auto now = now_();
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(id);
  if (found == entries_.end()) return nullptr;
  if (Ended(found->second, now)) {
    entries_.erase(found);
    return nullptr;
  }
  found->second.used = now;
  return found->second.session;
}

std::shared_ptr<const Session> Sessions::Find(const std::string& id) const {
  const auto now = now_();
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(id);
  return found == entries_.end() || Ended(found->second, now) ? nullptr : found->second.session;
}

}  // namespace host
