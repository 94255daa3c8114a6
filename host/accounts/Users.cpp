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
using Permissions = std::set<std::pair<ClientKind, int>>;

constexpr std::size_t kGeneratedPasswordBytes = 12;

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

constexpr char kSqlGrant[] =
    "INSERT INTO platform.permissions (user_id, kind, code, granted)"
    " SELECT id, %d, %d, true FROM platform.users WHERE name = %s"
    " ON CONFLICT (user_id, kind, code) DO UPDATE SET granted = true;";

std::string GrantStatements(const std::string& name, const Permissions& permissions) {
  std::string sql;
  for (const auto& [kind, code] : permissions) {
    sql += SqlText::Format(kSqlGrant, static_cast<int>(kind), code, SqlText::Literal(name).c_str());
  }
  return sql;
}

enum class UserLookup { kFound, kMissing, kDatabaseAway };

constexpr char kSqlUserExists[] = "SELECT id FROM platform.users WHERE name = %s";

UserLookup LookUp(const std::string& name) {
  bool found = false;
  const bool answered = Query(SqlText::Format(kSqlUserExists, SqlText::Literal(name).c_str()),
                              [&](kelp::IDBResultSet* rows) { found = !rows->IsEof(); });
  if (!answered) return UserLookup::kDatabaseAway;
  return found ? UserLookup::kFound : UserLookup::kMissing;
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

constexpr char kSqlFindRights[] =
    "SELECT kind, code, '' AS role FROM platform.user_permissions WHERE user_id = %d UNION ALL"
    " SELECT 0, 0, role FROM platform.user_roles WHERE granted AND user_id = %d";

bool ReadPermissions(UserRecord& user) {
  return Query(SqlText::Format(kSqlFindRights, user.id, user.id), [&](kelp::IDBResultSet* rows) {
    for (; !rows->IsEof(); rows->Next())
      ReadRight(*rows, user);
  });
}

constexpr char kSqlHoldsControlPermission[] =
    "SELECT 1 FROM platform.users u WHERE u.id = %d AND u.enabled AND (u.super_user OR EXISTS"
    " (SELECT 1 FROM platform.user_permissions p WHERE p.user_id = u.id AND p.kind = %d AND p.code = %d))";

bool HoldsControlPermission(int user_id, int code) {
  bool holds = false;
  const auto sql = SqlText::Format(kSqlHoldsControlPermission, user_id, static_cast<int>(ClientKind::kControl), code);
  return Query(sql, [&](kelp::IDBResultSet* rows) { holds = !rows->IsEof(); }) && holds;
}

constexpr char kSqlAddUser[] = "INSERT INTO platform.users (name, password_hash, super_user) VALUES (%s, %s, %s);";

std::string AddUser(const NewUser& user) {
  const auto& record = user.record;
  if (!IsUserName(record.name)) return "a user name must have 1 to 128 characters and no control character";
  const auto hash = HashPassword(user.password);
  if (!hash) return "a password must have 1 to 511 bytes of UTF-8 and no control character";
  const auto lookup = LookUp(record.name);
  if (lookup == UserLookup::kDatabaseAway) return kNoAnswer;
  if (lookup == UserLookup::kFound) return "user " + record.name + " already exists";
  const auto sql = SqlText::Format(kSqlAddUser, SqlText::Literal(record.name).c_str(), SqlText::Literal(*hash).c_str(),
                                   record.super_user ? "true" : "false");
  return Execute(sql + GrantStatements(record.name, record.permissions)) ? "" : kNoAnswer;
}

constexpr char kSqlRevokeAll[] =
    "UPDATE platform.permissions SET granted = false"
    " WHERE user_id = (SELECT id FROM platform.users WHERE name = %s);";

std::string SetPermissions(const std::string& name, const Permissions& permissions) {
  const auto lookup = LookUp(name);
  if (lookup == UserLookup::kDatabaseAway) return kNoAnswer;
  if (lookup == UserLookup::kMissing) return "user " + name + " does not exist";
  const auto sql = SqlText::Format(kSqlRevokeAll, SqlText::Literal(name).c_str());
  return Execute(sql + GrantStatements(name, permissions)) ? "" : kNoAnswer;
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

constexpr char kSqlAddSysop[] =
    "INSERT INTO platform.users (name, password_hash, super_user) VALUES (%s, %s, true)"
    " ON CONFLICT (name) DO NOTHING RETURNING id";

bool EnsureSysop(std::string& password) {
  const auto lookup = LookUp(kSysop);
  if (lookup != UserLookup::kMissing) return lookup == UserLookup::kFound;
  const auto generated = GeneratedPassword();
  const auto hash = HashPassword(generated);
  bool added = false;
  // Another host on the same database may be first: its password is then the valid one.
  const bool answered =
      hash && Query(SqlText::Format(kSqlAddSysop, SqlText::Literal(kSysop).c_str(), SqlText::Literal(*hash).c_str()),
                    [&](kelp::IDBResultSet* rows) { added = !rows->IsEof(); });
  if (added) password = generated;
  return answered;
}

std::string GeneratedPassword() { return RandomHex(kGeneratedPasswordBytes); }

}  // namespace host
