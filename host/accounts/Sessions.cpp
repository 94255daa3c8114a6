#include "accounts/Sessions.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "Hex.h"
#include "HostLog.h"
#include "accounts/AuthEvents.h"
#include "accounts/Secrets.h"

namespace host {

namespace {

constexpr std::size_t kSecretBytes = 32;

std::shared_ptr<const Session> WithUser(const Session& session, const UserRecord& user) {
  auto changed = std::make_shared<Session>(session);
  changed->user = user;
  return changed;
}

}  // namespace

Sessions::Sessions(std::string_view site_key, const Rules& rules, std::function<Clock::time_point()> now)
    : tokens_(site_key), rules_(rules), now_(std::move(now)) {}

std::size_t Sessions::Hash::operator()(const Handle& handle) const {
  // Nobody chooses a handle: its bytes are as good as any hash of them.
  std::size_t hash = 0;
  std::memcpy(&hash, handle.data(), sizeof(hash));
  return hash;
}

Sessions::Opened Sessions::Open(UserRecord user, const std::string& client_address) {
  const auto made = tokens_.Make();
  Opened opened{made.token, RandomHex(kSecretBytes), ToHex(made.handle.data(), made.handle.size())};
  auto session = std::make_shared<Session>();
  session->user = std::move(user);
  session->handle = opened.handle;
  session->key = opened.key;
  session->seen_by_plugins = std::make_shared<TarnPlatform::Authentication::CUserSession>(
      session->user.id, session->user.name, client_address, static_cast<int>(ClientKind::kWeb));
  const int user_id = session->user.id;
  const auto name = session->user.name;
  SessionPtr ended;
  {
    const auto now = now_();
    const std::lock_guard lock(mutex_);
    ended = MakeRoom(user_id, now);
    session->number = ++last_number_;
    entries_.insert_or_assign(made.handle, Entry{std::move(session), now, now, client_address});
  }
  if (ended) {
    LogHost(kLogProgress, "session %" PRId64 " of user %s ends for a new one of user %s", ended->number,
            ended->user.name.c_str(), name.c_str());
    if (ended->user.name != name) NoteAuthEvent({kEventSessionEnded, ended->user.name, name, "", "", "no more room"});
  }
  return opened;
}

Sessions::SessionPtr Sessions::MakeRoom(int user_id, Clock::time_point now) {
  std::erase_if(entries_, [&](const auto& entry) { return HasEnded(entry.second, now); });
  const bool is_full = entries_.size() >= rules_.limit;
  const auto is_own = [user_id](const auto& entry) { return entry.second.session->user.id == user_id; };
  const auto own = static_cast<std::size_t>(std::ranges::count_if(entries_, is_own));
  if (!is_full && own < rules_.per_user) return nullptr;
  if (own > 0) return EndLongestIdle([user_id](int id) { return id == user_id; });
  std::map<int, std::size_t> counts;
  for (const auto& [handle, entry] : entries_)
    ++counts[entry.session->user.id];
  const auto most = std::ranges::max_element(counts, {}, [](const auto& count) { return count.second; })->second;
  return EndLongestIdle([&](int id) { return counts.at(id) == most; });
}

Sessions::SessionPtr Sessions::EndLongestIdle(const std::function<bool(int user_id)>& is_candidate) {
  auto longest = entries_.end();
  for (auto at = entries_.begin(); at != entries_.end(); ++at) {
    const auto since = [](const Entry& entry) { return std::pair(entry.used, entry.session->number); };
    if (!is_candidate(at->second.session->user.id)) continue;
    if (longest == entries_.end() || since(at->second) < since(longest->second)) longest = at;
  }
  if (longest == entries_.end()) return nullptr;
  auto session = std::move(longest->second.session);
  entries_.erase(longest);
  return session;
}

Sessions::SessionPtr Sessions::Use(std::string_view token, const std::string& client_address) {
  const auto handle = tokens_.Check(token);
  if (!handle) return nullptr;
  const auto now = now_();
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(*handle);
  if (found == entries_.end()) return nullptr;
  auto& entry = found->second;
  if (HasEnded(entry, now)) {
    entries_.erase(found);
    return nullptr;
  }
  entry.used = now;
  if (entry.last_address != client_address) entry.last_address = client_address;
  return entry.session;
}

Sessions::Entries::const_iterator Sessions::Living(std::string_view handle, Clock::time_point now) const {
  Handle bytes;
  if (!FromHex(handle, bytes.data(), bytes.size())) return entries_.end();
  const auto found = entries_.find(bytes);
  return found == entries_.end() || HasEnded(found->second, now) ? entries_.end() : found;
}

Sessions::SessionPtr Sessions::Find(std::string_view handle) const {
  const auto now = now_();
  const std::lock_guard lock(mutex_);
  const auto found = Living(handle, now);
  return found == entries_.end() ? nullptr : found->second.session;
}

Sessions::State Sessions::StateAt(const Entry& entry, Clock::time_point now) {
  return {entry.session, entry.last_address, now - entry.used, now - entry.opened};
}

std::optional<Sessions::State> Sessions::StateOf(std::string_view handle) const {
  const auto now = now_();
  const std::lock_guard lock(mutex_);
  const auto found = Living(handle, now);
  if (found == entries_.end()) return std::nullopt;
  return StateAt(found->second, now);
}

std::vector<Sessions::State> Sessions::List() const {
  std::vector<State> states;
  const auto now = now_();
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [handle, entry] : entries_) {
      if (!HasEnded(entry, now)) states.push_back(StateAt(entry, now));
    }
  }
  std::ranges::sort(states, {}, [](const State& state) { return state.session->number; });
  return states;
}

std::size_t Sessions::Count() const {
  const auto now = now_();
  const std::lock_guard lock(mutex_);
  const auto lives = [&](const auto& entry) { return !HasEnded(entry.second, now); };
  return static_cast<std::size_t>(std::ranges::count_if(entries_, lives));
}

Sessions::SessionPtr Sessions::End(std::string_view handle) {
  const auto now = now_();
  const std::lock_guard lock(mutex_);
  const auto found = Living(handle, now);
  if (found == entries_.end()) return nullptr;
  auto session = found->second.session;
  entries_.erase(found);
  return session;
}

std::vector<int> Sessions::UserIds() const {
  std::set<int> ids;
  const std::lock_guard lock(mutex_);
  for (const auto& [handle, entry] : entries_)
    ids.insert(entry.session->user.id);
  return {ids.begin(), ids.end()};
}

void Sessions::Follow(const std::vector<int>& asked, const std::map<int, UserRecord>& enabled) {
  for (const auto& session : EndOrChange({asked.begin(), asked.end()}, enabled)) {
    LogHost(kLogProgress, "session %" PRId64 " of user %s ends with a change of the account", session->number,
            session->user.name.c_str());
  }
}

std::vector<Sessions::SessionPtr> Sessions::EndOrChange(const std::set<int>& asked,
                                                        const std::map<int, UserRecord>& enabled) {
  std::vector<SessionPtr> ended;
  const std::lock_guard lock(mutex_);
  for (auto at = entries_.begin(); at != entries_.end();) {
    auto& session = at->second.session;
    const auto found = enabled.find(session->user.id);
    const bool is_asked = asked.contains(session->user.id);
    if (is_asked && (found == enabled.end() || found->second.session_epoch != session->user.session_epoch)) {
      ended.push_back(std::move(session));
      at = entries_.erase(at);
      continue;
    }
    if (is_asked && found->second != session->user) session = WithUser(*session, found->second);
    ++at;
  }
  return ended;
}

}  // namespace host
