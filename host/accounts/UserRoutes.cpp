#include "accounts/UserRoutes.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "accounts/AuthEvents.h"
#include "accounts/PermissionWords.h"
#include "accounts/RoleNames.h"
#include "accounts/Secrets.h"
#include "accounts/UserChanges.h"
#include "http/JsonAnswer.h"
#include "http/JsonBody.h"
#include "http/Paging.h"

namespace host {
namespace {

using platform::HttpAccess;
using platform::HttpPool;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::HttpRoute;
using Kind = AccountFault::Kind;

constexpr std::uint64_t kBodyLimit = 64 * 1024;

HttpResponse SessionEnded() { return HttpResponse::Problem(401, "no_session", "The session has ended."); }
HttpResponse NoSuchUser() { return HttpResponse::Problem(404, "no_such_user", "There is no such user."); }
HttpResponse DatabaseAway() {
  return HttpResponse::Problem(503, "unavailable", "The database does not answer, or refused the change.");
}
HttpResponse BadBody(const std::string& fault) { return HttpResponse::Problem(400, "bad_body", fault); }

struct Word {
  Kind kind;
  unsigned status;
  const char* code;
};
constexpr Word kWords[] = {
    {Kind::kNoSuchUser, 404, "no_such_user"},  {Kind::kExists, 409, "user_exists"},
    {Kind::kBadName, 422, "bad_user_name"},    {Kind::kBadPassword, 422, "weak_password"},
    {Kind::kUnknownRole, 422, "no_such_role"}, {Kind::kSuperUser, 403, "super_user_only"},
    {Kind::kLastManager, 409, "last_manager"}, {Kind::kChanged, 409, "account_changed"},
};

HttpResponse Refused(const AccountFault& fault) {
  const auto* const word = std::ranges::find(kWords, fault.kind, &Word::kind);
  if (word == std::end(kWords)) return DatabaseAway();
  auto sentence = fault.text + ".";
  if (sentence[0] >= 'a' && sentence[0] <= 'z') sentence[0] = static_cast<char>(sentence[0] - 'a' + 'A');
  return HttpResponse::Problem(word->status, word->code, sentence);
}

void PutPermissions(JsonWriter& json, const char* key, const Permissions& permissions) {
  json.Key(key);
  json.StartArray();
  for (const auto& [kind, code] : permissions) {
    json.StartObject();
    Put(json, "kind", std::string(NameOf(kind)));
    PutNumber(json, "code", code);
    json.EndObject();
  }
  json.EndArray();
}

/// `password` is one that was made for the user, else empty.
void PutUser(JsonWriter& json, const ListedUser& user, const std::string& password = {}) {
  const auto& record = user.record;
  json.StartObject();
  PutNumber(json, "id", record.id);
  Put(json, "user_name", record.name);
  PutFlag(json, "enabled", user.enabled);
  PutFlag(json, "super_user", record.super_user);
  PutFlag(json, "must_change_password", record.must_change_password);
  json.Key("roles");
  json.StartArray();
  for (const auto& role : record.roles)
    json.String(role.data(), static_cast<rapidjson::SizeType>(role.size()));
  json.EndArray();
  PutPermissions(json, "permissions", user.own_permissions);
  PutPermissions(json, "all_permissions", record.permissions);
  if (!password.empty()) Put(json, "password", password);
  json.EndObject();
}

/// The answer with one user as he is now.
HttpResponse Show(int id, unsigned status = 200, const std::string& password = {}) {
  const auto users = ListUsers(std::vector{id});
  if (!users) return DatabaseAway();
  if (users->empty()) return NoSuchUser();
  JsonBuffer buffer;
  JsonWriter json(buffer);
  PutUser(json, users->front(), password);
  return HttpResponse::Json(status, {buffer.GetString(), buffer.GetSize()});
}

HttpResponse ListAll(const HttpRequest& request) {
  const auto page = PageOf(request);
  if (!page) return WrongPage();
  const auto users = ListUsers();
  if (!users) return DatabaseAway();
  const auto id = [](const ListedUser& user) { return std::int64_t{user.record.id}; };
  const auto first = std::ranges::upper_bound(*users, page->after, {}, id);
  const auto last = first + std::min(static_cast<std::ptrdiff_t>(page->limit), users->end() - first);
  JsonBuffer buffer;
  JsonWriter json(buffer);
  json.StartObject();
  json.Key("items");
  json.StartArray();
  for (auto user = first; user != last; ++user)
    PutUser(json, *user);
  json.EndArray();
  if (last != users->end()) Put(json, "next", std::to_string(id(*(last - 1))));
  json.EndObject();
  return HttpResponse::Json(200, {buffer.GetString(), buffer.GetSize()});
}

/// The id in the path; none when no user can have it.
std::optional<int> IdOf(const HttpRequest& request) {
  const auto id = request.NumberOf("id");
  if (!id || *id > std::numeric_limits<int>::max()) return std::nullopt;
  return static_cast<int>(*id);
}

HttpResponse ShowOne(const HttpRequest& request) {
  const auto id = IdOf(request);
  return id ? Show(*id) : NoSuchUser();
}

/// The permissions of `body`; `fault` becomes a sentence when one is of no kind.
std::optional<Permissions> PermissionsOf(JsonBody& body, std::string& fault) {
  const auto pairs = body.Pairs("permissions", "kind", "code");
  if (!pairs) return std::nullopt;
  Permissions permissions;
  for (const auto& [name, code] : *pairs) {
    constexpr ClientKind kKinds[] = {ClientKind::kWeb, ClientKind::kCs, ClientKind::kControl};
    const auto* const kind = std::ranges::find(kKinds, std::string_view(name), &NameOf);
    if (kind == std::end(kKinds)) {
      fault = "The kind of a permission is web, cs or control.";
    } else {
      permissions.emplace(*kind, code);
    }
  }
  return permissions;
}

/// What POST and PATCH have in common. "" or a sentence on what is wrong.
std::string ReadChange(JsonBody& body, UserChange& change) {
  std::string fault;
  change.super_user = body.Flag("super_user");
  change.roles = body.Texts("roles");
  change.permissions = PermissionsOf(body, fault);
  change.password = body.Text("password");
  auto other = body.Fault();
  return other.empty() ? fault : other;
}

class AccountRoutes {
 public:
  explicit AccountRoutes(AccountParts parts) : parts_(std::move(parts)) {}

  HttpResponse Add(const HttpRequest& request) const;
  HttpResponse Change(const HttpRequest& request) const;
  HttpResponse ChangeOwnPassword(const HttpRequest& request) const;

 private:
  HttpResponse SetOwnPassword(const UserRecord& user, const std::string& password) const;
  /// Sessions follow the account at once, or within seconds if this fails.
  void Follow(int id) const { static_cast<void>(parts_.accounts->RefreshUser(id)); }

  const AccountParts parts_;
};

HttpResponse AccountRoutes::Add(const HttpRequest& request) const {
  const auto session = parts_.sessions->Find(request.session);
  if (!session) return SessionEnded();
  JsonBody body(request.body);
  const auto name = body.Text("user_name");
  UserChange wanted;
  if (auto fault = ReadChange(body, wanted); !fault.empty()) return BadBody(fault);
  if (!name) return BadBody("user_name is missing.");
  NewUser user;
  user.record.name = StoredName(*name);
  user.record.super_user = wanted.super_user.value_or(false);
  user.record.roles = wanted.roles.value_or(std::set<std::string>());
  user.record.permissions = wanted.permissions.value_or(Permissions());
  user.record.must_change_password = true;
  user.password = wanted.password ? *wanted.password : GeneratedPassword();
  const WipeAtEnd wipe(user.password);
  int id = 0;
  const auto fault = AddUser(user, {session->user.name, session->user.super_user}, &id);
  if (fault.kind != Kind::kNone) return Refused(fault);
  auto response = Show(id, 201, wanted.password ? std::string() : user.password);
  response.headers.emplace_back("Location", "/platform/v1/users/" + std::to_string(id));
  return response;
}

HttpResponse AccountRoutes::Change(const HttpRequest& request) const {
  const auto session = parts_.sessions->Find(request.session);
  if (!session) return SessionEnded();
  const auto id = IdOf(request);
  JsonBody body(request.body);
  UserChange change;
  change.enabled = body.Flag("enabled");
  if (auto fault = ReadChange(body, change); !fault.empty()) return BadBody(fault);
  if (!id) return NoSuchUser();
  const auto& actor = session->user;
  if (*id == actor.id && change.password) {
    return HttpResponse::Problem(403, "own_password",
                                 "One's own password is changed at /platform/v1/session/password.");
  }
  if (*id == actor.id && !actor.super_user) {
    return HttpResponse::Problem(403, "own_account", "Another administrator changes what one may do oneself.");
  }
  change.must_change_password = change.password.has_value();
  const bool is_change = change.enabled || change.super_user || change.roles || change.permissions || change.password;
  if (!is_change) return Show(*id);
  const auto fault = ChangeUser(*id, change, {actor.name, actor.super_user});
  if (fault.kind != Kind::kNone) return Refused(fault);
  Follow(*id);
  return Show(*id);
}

HttpResponse AccountRoutes::ChangeOwnPassword(const HttpRequest& request) const {
  const auto session = parts_.sessions->Find(request.session);
  if (!session) return SessionEnded();
  JsonBody body(request.body);
  auto old_password = body.Text("old_password").value_or("");
  auto new_password = body.Text("new_password").value_or("");
  const WipeAtEnd wipe_old(old_password);
  const WipeAtEnd wipe_new(new_password);
  if (auto fault = body.Fault(); !fault.empty()) return BadBody(fault);
  if (old_password == new_password) {
    return HttpResponse::Problem(422, "weak_password", "The new password is the old one.");
  }
  const auto& name = session->user.name;
  const auto& address = request.client_address;
  // The address first, as at a login.
  auto client_try = parts_.tries->clients.Begin(address);
  auto user_try = client_try ? parts_.tries->users.Begin(name) : std::nullopt;
  if (!user_try) return HttpResponse::Problem(429, "frozen", "There were too many failed tries.");
  UserRecord user;
  switch (CheckPassword(name, old_password, user)) {
    case PasswordOutcome::kDatabaseAway:
      return DatabaseAway();
    case PasswordOutcome::kWrong:
    case PasswordOutcome::kDisabled:
      user_try->Failed();
      client_try->Failed();
      NoteRefusedTry(kEventPasswordRefused, name, address, *parts_.tries);
      return HttpResponse::Problem(403, "wrong_password", "The old password is wrong.");
    case PasswordOutcome::kRight:
      break;
  }
  user_try->Succeeded();
  return SetOwnPassword(user, new_password);
}

HttpResponse AccountRoutes::SetOwnPassword(const UserRecord& user, const std::string& password) const {
  UserChange change;
  change.password = password;
  const WipeAtEnd wipe(*change.password);
  change.of_epoch = user.session_epoch;
  const auto fault = ChangeUser(user.id, change, {user.name});
  if (fault.kind != Kind::kNone) return Refused(fault);
  Follow(user.id);
  return HttpResponse::Json(204, {});
}

}  // namespace

void RegisterUserRoutes(platform::IHttpRoutes& routes, const AccountParts& parts) {
  const auto with = [routes = std::make_shared<const AccountRoutes>(parts)](auto run) {
    return [routes, run](const HttpRequest& request) { return ((*routes).*run)(request); };
  };
  const HttpAccess administrators{HttpAccess::Who::kRole, {kAdministrator}};
  const struct {
    const char* method;
    const char* path;
    const HttpAccess& access;
    std::function<HttpResponse(const HttpRequest&)> run;
    /// Hashes a password.
    bool is_costly = false;
  } kRows[] = {
      {"GET", "/platform/v1/users", administrators, &ListAll},
      {"GET", "/platform/v1/users/{id}", administrators, &ShowOne},
      {"POST", "/platform/v1/users", administrators, with(&AccountRoutes::Add), true},
      {"PATCH", "/platform/v1/users/{id}", administrators, with(&AccountRoutes::Change), true},
      {"PUT", "/platform/v1/session/password", {}, with(&AccountRoutes::ChangeOwnPassword), true},
  };
  for (const auto& row : kRows) {
    HttpRoute route;
    route.method = row.method;
    route.path = row.path;
    route.access = row.access;
    route.pool = row.is_costly ? HttpPool::kLogins : HttpPool::kRequests;
    route.body_limit = row.is_costly ? kBodyLimit : 0;
    route.before_new_password = row.access.who == HttpAccess::Who::kSession;
    route.run = row.run;
    // A wrong row stops the start.
    static_cast<void>(routes.Register(std::move(route)));
  }
}

}  // namespace host
