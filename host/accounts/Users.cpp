#include "accounts/Users.h"

#include "Database.h"
#include "KelpUtils/StringFunctions.h"
#include "OrvBase/StringUtil.h"
#include "accounts/Secrets.h"
#include "platform/SqlText.h"

namespace host {
namespace {

namespace SqlText = platform::SqlText;
namespace StringUtil = Orv::Base::StringUtil;

UserRecord ReadUser(const kelp::IDBResultSet& row) {
  UserRecord user;
  user.id = row.GetInt("id");
  user.name = row.GetString("name");
  user.super_user = row.GetString("super_user") == "t";
  user.must_change_password = row.GetString("must_change_password") == "t";
  user.session_epoch = row.GetInt("session_epoch");
  return user;
}

std::pair<ClientKind, int> ReadPermission(const kelp::IDBResultSet& row) {
  return {ClientKind{row.GetInt("kind")}, row.GetInt("code")};
}

/// A row is one permission or one role.
void ReadRight(const kelp::IDBResultSet& row, UserRecord& user) {
  if (row.GetInt("kind") != 0) user.permissions.insert(ReadPermission(row));
  if (auto role = row.GetString("role"); !role.empty()) user.roles.insert(std::move(role));
}

UserRecord NoUser() {
  UserRecord none;
  none.id = -1;
  return none;
}

struct Account {
  UserRecord user = NoUser();
  std::string hash;
  bool enabled = false;
};

constexpr char kSqlFindAccount[] =
    "SELECT id, name, super_user, must_change_password, session_epoch, password_hash, enabled FROM platform.users"
    " WHERE name = %s";

bool FindAccount(const std::string& name, Account& account) {
  return Query(SqlText::Format(kSqlFindAccount, SqlText::Literal(name).c_str()), [&](kelp::IDBResultSet* rows) {
    if (rows->IsEof()) return;
    account = {ReadUser(*rows), rows->GetString("password_hash"), rows->GetString("enabled") == "t"};
  });
}

bool IsUserName(const std::string& name) {
  return !name.empty() && StringUtil::str_len(name, StringUtil::kCodePageUtf8) <= kMaxUserName &&
         !StringUtil::ContainsIllegalCharacters(name) && name.find_first_of("\t\r\n") == std::string::npos;
}

}  // namespace

bool IsDomainAccount(const std::string& name) { return name.find('\\') != std::string::npos; }

std::string StoredName(const std::string& name) { return IsDomainAccount(name) ? kelp::ToLower(name) : name; }

PasswordOutcome CheckPassword(const std::string& name, const std::string& password, UserRecord& user) {
  Account account;
  if (IsUserName(name) && !FindAccount(name, account)) return PasswordOutcome::kDatabaseAway;
  user = std::move(account.user);
  // That a name is invalid is no secret, so it need not cost the time of a hash.
  if (!IsUserName(name) || !PasswordMatches(password, account.hash)) return PasswordOutcome::kWrong;
  return account.enabled ? PasswordOutcome::kRight : PasswordOutcome::kDisabled;
}

constexpr char kSqlFindUser[] =
    "SELECT id, name, super_user, must_change_password, session_epoch FROM platform.users WHERE id = %d";

bool FindUser(int user_id, UserRecord& user) {
  return Query(SqlText::Format(kSqlFindUser, user_id),
               [&user](kelp::IDBResultSet* rows) { user = rows->IsEof() ? NoUser() : ReadUser(*rows); });
}

bool FindUser(const std::string& name, UserRecord& user) {
  Account account;
  if (!FindAccount(name, account)) return false;
  user = std::move(account.user);
  return true;
}

constexpr char kSqlHoldsControlPermission[] =
    "SELECT 1 FROM platform.users u WHERE u.id = %d AND u.enabled AND (u.super_user OR EXISTS"
    " (SELECT 1 FROM platform.user_permissions p WHERE p.user_id = u.id AND p.kind = %d AND p.code = %d))";

bool HoldsControlPermission(int user_id, int code) {
  bool holds = false;
  const auto sql = SqlText::Format(kSqlHoldsControlPermission, user_id, static_cast<int>(ClientKind::kControl), code);
  return Query(sql, [&](kelp::IDBResultSet* rows) { holds = !rows->IsEof(); }) && holds;
}

constexpr char kSqlListUsers[] =
    "SELECT id, name, super_user, must_change_password, session_epoch, enabled, kind, code, role, own"
    " FROM platform.users LEFT JOIN ("
    "SELECT user_id, kind, code, '' AS role, true AS own FROM platform.permissions WHERE granted UNION ALL"
    " SELECT user_id, p.kind, p.code, u.role, false FROM platform.user_roles u"
    " LEFT JOIN platform.role_permissions p ON p.role = u.role WHERE u.granted) AS rights ON user_id = id"
    " WHERE %s ORDER BY id";

namespace {

std::optional<std::vector<ListedUser>> ListUsersWhere(const std::string& condition) {
  std::vector<ListedUser> users;
  const bool answered = Query(SqlText::Format(kSqlListUsers, condition.c_str()), [&](kelp::IDBResultSet* rows) {
    for (; !rows->IsEof(); rows->Next()) {
      auto record = ReadUser(*rows);
      if (users.empty() || users.back().record.id != record.id) {
        users.push_back({std::move(record), rows->GetString("enabled") == "t", {}});
      }
      auto& user = users.back();
      ReadRight(*rows, user.record);
      if (rows->GetString("own") == "t") user.own_permissions.insert(ReadPermission(*rows));
    }
  });
  if (!answered) return std::nullopt;
  return users;
}

}  // namespace

std::optional<std::vector<ListedUser>> ListUsers() { return ListUsersWhere("true"); }

std::optional<std::vector<ListedUser>> ListUsers(const std::vector<int>& ids) {
  std::string list;
  for (const int id : ids)
    list += (list.empty() ? "" : ",") + std::to_string(id);
  return ListUsersWhere("id = ANY ('{" + list + "}')");
}

constexpr char kSqlAccountRevision[] = "SELECT revision FROM platform.account_change";

bool ReadAccountRevision(std::string& revision) {
  return Query(kSqlAccountRevision, [&](kelp::IDBResultSet* rows) { revision = rows->GetString("revision"); });
}

}  // namespace host
