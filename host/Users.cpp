#include "Users.h"

#include "KelpPlatform/DBManager.h"
#include "OrvBase/StringUtil.h"
#include "RealBackends.h"
#include "Secrets.h"

namespace host {
namespace {

namespace StringUtil = Orv::Base::StringUtil;
using Permissions = std::set<std::pair<ClientKind, int>>;

constexpr std::size_t kGeneratedPasswordBytes = 12;
constexpr char kNoAnswer[] = "the database does not answer, or refuses the statement";

/// The text as an SQL literal.
std::string Quoted(const std::string& text) { return "'" + StringUtil::StringReplace(text, "'", "''") + "'"; }

bool Query(const std::string& sql, const kelp::IDBManager::RowReader& reader) {
  return kelp::IDBManager::Instance()->ExecuteQuery(platform::kPlatformDbId, kelp::IDBManager::kConfigClass, sql,
                                                    reader);
}

bool Execute(const std::string& sql) {
  return kelp::IDBManager::Instance()->ExecuteNoQuery(platform::kPlatformDbId, kelp::IDBManager::kConfigClass, sql);
}

UserRecord ReadUser(const kelp::IDBResultSet& row) {
  return {row.GetInt("id"), row.GetString("name"), row.GetString("super_user") == "t", {}};
}

std::pair<ClientKind, int> ReadPermission(const kelp::IDBResultSet& row) {
  return {ClientKind{row.GetInt("kind")}, row.GetInt("code")};
}

constexpr char kSqlFindUser[] =
    "SELECT id, name, super_user, password_hash FROM platform.users WHERE enabled AND name = %s";

/// `hash` stays empty when there is no such user.
bool FindUser(const std::string& name, UserRecord& user, std::string& hash) {
  return Query(StringUtil::str_fmt(kSqlFindUser, Quoted(name).c_str()), [&](kelp::IDBResultSet* rows) {
    if (rows->IsEof()) return;
    user = ReadUser(*rows);
    hash = rows->GetString("password_hash");
  });
}

constexpr char kSqlFindPermissions[] = "SELECT kind, code FROM platform.permissions WHERE granted AND user_id = %d";

bool FindPermissions(UserRecord& user) {
  return Query(StringUtil::str_fmt(kSqlFindPermissions, user.id), [&](kelp::IDBResultSet* rows) {
    for (; !rows->IsEof(); rows->Next())
      user.permissions.insert(ReadPermission(*rows));
  });
}

constexpr char kSqlGrant[] =
    "INSERT INTO platform.permissions (user_id, kind, code, granted)"
    " SELECT id, %d, %d, true FROM platform.users WHERE name = %s"
    " ON CONFLICT (user_id, kind, code) DO UPDATE SET granted = true;";

std::string GrantStatements(const std::string& name, const Permissions& permissions) {
  std::string sql;
  for (const auto& [kind, code] : permissions) {
    sql += StringUtil::str_fmt(kSqlGrant, static_cast<int>(kind), code, Quoted(name).c_str());
  }
  return sql;
}

enum class UserLookup { kFound, kMissing, kDatabaseAway };

constexpr char kSqlUserExists[] = "SELECT id FROM platform.users WHERE name = %s";

UserLookup LookUp(const std::string& name) {
  bool found = false;
  const bool answered = Query(StringUtil::str_fmt(kSqlUserExists, Quoted(name).c_str()),
                              [&](kelp::IDBResultSet* rows) { found = !rows->IsEof(); });
  if (!answered) return UserLookup::kDatabaseAway;
  return found ? UserLookup::kFound : UserLookup::kMissing;
}

bool IsUserName(const std::string& name) {
  return !name.empty() && StringUtil::str_len(name, StringUtil::kCodePageUtf8) <= kMaxUserName &&
         !StringUtil::ContainsIllegalCharacters(name) && name.find_first_of("\t\r\n") == std::string::npos;
}

}  // namespace

LoginOutcome CheckLogin(const std::string& name, const std::string& password, UserRecord& user) {
  if (!IsUserName(name) || !IsPassword(password)) return LoginOutcome::kRefused;
  UserRecord found;
  std::string hash;
  if (!FindUser(name, found, hash)) return LoginOutcome::kDatabaseAway;
  if (!PasswordMatches(password, hash)) return LoginOutcome::kRefused;
  if (!FindPermissions(found)) return LoginOutcome::kDatabaseAway;
  user = std::move(found);
  return LoginOutcome::kOk;
}

constexpr char kSqlAddUser[] = "INSERT INTO platform.users (name, password_hash, super_user) VALUES (%s, %s, %s);";

std::string AddUser(const NewUser& user) {
  const auto& record = user.record;
  if (!IsUserName(record.name)) return "a user name has 1 to 128 characters and no control character";
  const auto hash = HashPassword(user.password);
  if (!hash) return "a password has 1 to 511 bytes of UTF-8 and no control character";
  const auto standing = LookUp(record.name);
  if (standing == UserLookup::kDatabaseAway) return kNoAnswer;
  if (standing == UserLookup::kFound) return "there is a user " + record.name + " already";
  const auto sql = StringUtil::str_fmt(kSqlAddUser, Quoted(record.name).c_str(), Quoted(*hash).c_str(),
                                       record.super_user ? "true" : "false");
  return Execute(sql + GrantStatements(record.name, record.permissions)) ? "" : kNoAnswer;
}

constexpr char kSqlRevokeAll[] =
    "UPDATE platform.permissions SET granted = false"
    " WHERE user_id = (SELECT id FROM platform.users WHERE name = %s);";

std::string SetPermissions(const std::string& name, const Permissions& permissions) {
  const auto standing = LookUp(name);
  if (standing == UserLookup::kDatabaseAway) return kNoAnswer;
  if (standing == UserLookup::kMissing) return "there is no user " + name;
  const auto sql = StringUtil::str_fmt(kSqlRevokeAll, Quoted(name).c_str());
  return Execute(sql + GrantStatements(name, permissions)) ? "" : kNoAnswer;
}

constexpr char kSqlListUsers[] =
    "SELECT u.id, u.name, u.super_user, u.enabled, p.kind, p.code FROM platform.users u"
    " LEFT JOIN platform.permissions p ON p.user_id = u.id AND p.granted ORDER BY u.id";

std::optional<std::vector<ListedUser>> ListUsers() {
  std::vector<ListedUser> users;
  const bool answered = Query(kSqlListUsers, [&](kelp::IDBResultSet* rows) {
    for (; !rows->IsEof(); rows->Next()) {
      auto record = ReadUser(*rows);
      if (users.empty() || users.back().record.id != record.id) {
        users.push_back({std::move(record), rows->GetString("enabled") == "t"});
      }
      if (rows->GetInt("kind") != 0) users.back().record.permissions.insert(ReadPermission(*rows));
    }
  });
  if (!answered) return std::nullopt;
  return users;
}

constexpr char kSqlAddSysop[] =
    "INSERT INTO platform.users (name, password_hash, super_user) VALUES (%s, %s, true)"
    " ON CONFLICT (name) DO NOTHING RETURNING id";

bool EnsureSysop(std::string& password) {
  const auto standing = LookUp(kSysop);
  if (standing != UserLookup::kMissing) return standing == UserLookup::kFound;
  const auto generated = GeneratedPassword();
  const auto hash = HashPassword(generated);
  bool added = false;
  // Another host on the same database may be first: its password is the one that holds.
  const bool answered = hash && Query(StringUtil::str_fmt(kSqlAddSysop, Quoted(kSysop).c_str(), Quoted(*hash).c_str()),
                                      [&](kelp::IDBResultSet* rows) { added = !rows->IsEof(); });
  if (added) password = generated;
  return answered;
}

std::string GeneratedPassword() { return RandomHex(kGeneratedPasswordBytes); }

}  // namespace host
