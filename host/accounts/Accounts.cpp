#include "accounts/Accounts.h"

#include "accounts/Users.h"

namespace host {
namespace {

using namespace TarnPlatform::Authentication;

int TypeOf(const UserRecord& user) {
  if (IsDomainAccount(user.name)) return kDirectoryUser;
  return user.super_user ? kSuperUser : kOrdinaryUser;
}

}  // namespace

int Accounts::Query(std::shared_ptr<CUserInfo>& out, int user_id) {
  out.reset();
  const auto now = now_();
  Entry entry{nullptr, now};
  if (!Recall(entry, user_id, now)) {
    UserRecord user;
    if (!FindUser(user_id, user)) return kUserNotRead;
    if (user.id != -1) entry.user = std::make_shared<CUserInfo>(user.id, user.name, TypeOf(user));
    Remember(user_id, entry);
  }
  out = entry.user;
  return out ? 0 : kUnknownUser;
}

bool Accounts::Recall(Entry& entry, int user_id, Clock::time_point now) {
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(user_id);
  if (found == entries_.end() || now - found->second.read >= kLifetime) return false;
  entry = found->second;
  return true;
}

void Accounts::Remember(int user_id, const Entry& entry) {
  const std::lock_guard lock(mutex_);
  if (entries_.size() >= kLimit) {
    std::erase_if(entries_, [&](const auto& old) { return entry.read - old.second.read >= kLifetime; });
    // Full of fresh entries: start over, which costs each id one more read.
    if (entries_.size() >= kLimit) entries_.clear();
  }
  entries_.insert_or_assign(user_id, entry);
}

}  // namespace host
