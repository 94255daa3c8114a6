#include "accounts/AccountStates.h"

#include <algorithm>
#include <cstddef>

#include "Every.h"
#include "accounts/Users.h"

namespace host {
namespace {

constexpr std::chrono::seconds kInterval{2};
constexpr std::size_t kUsersOfAStatement = 500;

}  // namespace

bool ReadAccountStates(const std::vector<int>& ids, std::map<int, UserRecord>& enabled) {
  enabled.clear();
  auto users = ListUsers(ids);
  if (!users) return false;
  for (auto& user : *users) {
    const int id = user.record.id;
    if (user.enabled) enabled.emplace(id, std::move(user.record));
  }
  return true;
}

bool AccountStates::Follow(const std::vector<int>& ids) {
  const std::lock_guard lock(mutex_);
  std::map<int, UserRecord> enabled;
  if (!ReadAccountStates(ids, enabled)) return false;
  sessions_->Follow(ids, enabled);
  return true;
}

bool AccountStates::Refresh() {
  // Read before the accounts, which may then be newer: the next call reads them again.
  std::string revision;
  if (!ReadAccountRevision(revision)) return false;
  if (revision == revision_) return true;
  const auto ids = sessions_->UserIds();
  for (std::size_t first = 0; first < ids.size(); first += kUsersOfAStatement) {
    const auto end = std::min(first + kUsersOfAStatement, ids.size());
    const auto at = [&ids](std::size_t place) { return ids.begin() + static_cast<std::ptrdiff_t>(place); };
    if (!Follow({at(first), at(end)})) return false;
  }
  revision_ = std::move(revision);
  return true;
}

bool AccountStates::RefreshUser(int user_id) { return Follow({user_id}); }

std::jthread FollowAccounts(std::shared_ptr<AccountStates> accounts) {
  return Every(kInterval, "the accounts", [accounts = std::move(accounts)] { static_cast<void>(accounts->Refresh()); });
}

}  // namespace host
