#include "accounts/SessionRoutes.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cinttypes>
#include <ctime>
#include <string>
#include <utility>

#include "HostLog.h"
#include "KelpUtils/RapidJsonProto.h"
#include "accounts/AuthEvents.h"
#include "accounts/PermissionWords.h"
#include "accounts/RoleNames.h"
#include "accounts/SealedText.h"
#include "accounts/Secrets.h"
#include "http/Paging.h"

namespace host {
namespace {

using platform::HttpAccess;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::HttpRoute;
using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

/// A text of SealText's limit may take six bytes for each of its own.
constexpr std::uint64_t kSealBodyLimit = 6 * kMaxSealedPlain + 1024;

void Put(Writer& writer, const char* key, std::string_view text) {
  writer.Key(key);
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

/// The time `from_now`, as RFC 3339 in UTC.
void PutTime(Writer& writer, const char* key, Sessions::Clock::duration from_now) {
  const auto time =
      std::chrono::system_clock::now() + std::chrono::duration_cast<std::chrono::system_clock::duration>(from_now);
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[sizeof("2000-01-01T00:00:00Z") + 8];
  Put(writer, key, {text, std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts)});
}

void PutEnds(Writer& writer, const Sessions::State& state, const Sessions::Rules& rules) {
  PutTime(writer, "created", -state.age);
  PutTime(writer, "idle_ends", rules.idle - state.idle);
  PutTime(writer, "ends", rules.age - state.age);
}

void PutPermission(Writer& writer, ClientKind kind, int code) {
  writer.StartObject();
  Put(writer, "kind", NameOf(kind));
  writer.Key("code");
  writer.Int(code);
  Put(writer, "words", WordsFor(kind, code));
  writer.EndObject();
}

void PutRights(Writer& writer, const UserRecord& user) {
  writer.Key("super_user");
  writer.Bool(user.super_user);
  writer.Key("permissions");
  writer.StartArray();
  if (user.super_user) {
    for (const auto& known : kPermissionWords)
      PutPermission(writer, known.kind, known.code);
  } else {
    for (const auto& [kind, code] : user.permissions)
      PutPermission(writer, kind, code);
  }
  writer.EndArray();
  writer.Key("roles");
  writer.StartArray();
  for (const auto& role : user.roles)
    writer.String(role.data(), static_cast<rapidjson::SizeType>(role.size()));
  writer.EndArray();
}

/// What an administrator sees of a session.
void PutListed(Writer& writer, const Sessions::State& state, const Sessions::Rules& rules) {
  const auto& session = *state.session;
  writer.StartObject();
  writer.Key("session");
  writer.Int64(session.number);
  Put(writer, "user_name", session.user.name);
  Put(writer, "login_address", session.seen_by_plugins->GetValLoginAddress());
  Put(writer, "last_address", state.last_address);
  writer.Key("idle_seconds");
  writer.Int64(std::chrono::duration_cast<std::chrono::seconds>(state.idle).count());
  PutEnds(writer, state, rules);
  writer.EndObject();
}

/// The document that `put` writes.
template <class Put>
HttpResponse Document(const Put& put) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  put(writer);
  return HttpResponse::Json(200, {buffer.GetString(), buffer.GetSize()});
}

HttpResponse NoContent() { return HttpResponse::Json(204, {}); }
HttpResponse SessionEnded() { return HttpResponse::Problem(401, "no_session", "The session has ended."); }
HttpResponse NoSuchSession() { return HttpResponse::Problem(404, "no_such_session", "There is no such session."); }

HttpResponse ShowOwn(Sessions& sessions, const HttpRequest& request) {
  const auto state = sessions.StateOf(request.session);
  if (!state) return SessionEnded();
  return Document([&](Writer& writer) {
    const auto& user = state->session->user;
    writer.StartObject();
    writer.Key("user_id");
    writer.Int(user.id);
    Put(writer, "user_name", user.name);
    writer.Key("must_change_password");
    writer.Bool(user.must_change_password);
    PutRights(writer, user);
    PutEnds(writer, *state, sessions.rules());
    writer.EndObject();
  });
}

HttpResponse LogOut(Sessions& sessions, const HttpRequest& request) {
  const auto session = sessions.End(request.session);
  if (session) {
    LogHost(kLogProgress, "log-out: user %s, client %s, session %s", session->user.name.c_str(),
            request.client_address.c_str(), session->handle.c_str());
    NoteAuthEvent({kEventLogout, session->user.name});
  }
  return NoContent();
}

HttpResponse Seal(Sessions& sessions, const HttpRequest& request) {
  if (!request.is_private) {
    return HttpResponse::Problem(403, "not_private", "A text is sealed over TLS or from this machine only.");
  }
  kelp::CRapidJsonProto body;
  std::string text;
  const WipeAtEnd wipe_text(text);
  if (body.set_str(request.body)) text = body.get_v("/Text", "");
  if (text.empty()) return HttpResponse::Problem(400, "no_text", "The body must be an object with a text as Text.");
  const auto session = sessions.Find(request.session);
  if (!session) return SessionEnded();
  std::string sealed;
  if (!SealText(sealed, text, session->key)) {
    return HttpResponse::Problem(422, "text_too_long", "Text must have at most 4096 bytes.");
  }
  return Document([&](Writer& writer) {
    writer.StartObject();
    Put(writer, "Sealed", sealed);
    writer.EndObject();
  });
}

HttpResponse ListAll(Sessions& sessions, const HttpRequest& request) {
  const auto page = PageOf(request);
  if (!page) return WrongPage();
  const auto states = sessions.List();
  const auto number = [](const Sessions::State& state) { return state.session->number; };
  const auto first = std::ranges::upper_bound(states, page->after, {}, number);
  const auto last = first + std::min(static_cast<std::ptrdiff_t>(page->limit), states.end() - first);
  return Document([&](Writer& writer) {
    writer.StartObject();
    writer.Key("items");
    writer.StartArray();
    for (auto state = first; state != last; ++state)
      PutListed(writer, *state, sessions.rules());
    writer.EndArray();
    if (last != states.end()) Put(writer, "next", std::to_string(number(*(last - 1))));
    writer.EndObject();
  });
}

/// The session whose number the path has.
std::optional<Sessions::State> Named(const Sessions& sessions, const HttpRequest& request) {
  const auto number = request.NumberOf("n");
  if (!number) return std::nullopt;
  auto states = sessions.List();
  const auto found = std::ranges::find(states, *number, [](const auto& state) { return state.session->number; });
  if (found == states.end()) return std::nullopt;
  return std::move(*found);
}

HttpResponse ShowNamed(Sessions& sessions, const HttpRequest& request) {
  const auto state = Named(sessions, request);
  if (!state) return NoSuchSession();
  return Document([&](Writer& writer) { PutListed(writer, *state, sessions.rules()); });
}

/// False when it has ended already.
bool EndOther(Sessions& sessions, const Session& session, const std::string& done_by, const HttpRequest& request) {
  if (!sessions.End(session.handle)) return false;
  LogHost(kLogProgress, "session %" PRId64 " of user %s ended by user %s, client %s", session.number,
          session.user.name.c_str(), done_by.c_str(), request.client_address.c_str());
  NoteAuthEvent({kEventSessionEnded, session.user.name, done_by});
  return true;
}

std::string CallerName(const Sessions& sessions, const HttpRequest& request) {
  const auto administrator = sessions.Find(request.session);
  return administrator ? administrator->user.name : std::string();
}

HttpResponse EndNamed(Sessions& sessions, const HttpRequest& request) {
  const auto state = Named(sessions, request);
  if (!state) return NoSuchSession();
  const auto done_by = CallerName(sessions, request);
  return EndOther(sessions, *state->session, done_by, request) ? NoContent() : NoSuchSession();
}

/// All but the caller's own, or those of one user.
HttpResponse EndAll(Sessions& sessions, const HttpRequest& request) {
  const auto user = platform::FieldOf(request.query, "user");
  const auto done_by = CallerName(sessions, request);
  std::int64_t ended = 0;
  for (const auto& state : sessions.List()) {
    const auto& session = *state.session;
    if (session.handle == request.session || (user && session.user.name != *user)) continue;
    if (EndOther(sessions, session, done_by, request)) ++ended;
  }
  return Document([ended](Writer& writer) {
    writer.StartObject();
    writer.Key("ended");
    writer.Int64(ended);
    writer.EndObject();
  });
}

}  // namespace

void RegisterSessionRoutes(platform::IHttpRoutes& routes, const std::shared_ptr<Sessions>& sessions) {
  const HttpAccess everybody{HttpAccess::Who::kSession, {}};
  const HttpAccess administrators{HttpAccess::Who::kRole, {kAdministrator}};
  const struct {
    const char* method;
    const char* path;
    const HttpAccess& access;
    std::uint64_t body_limit;
    bool before_new_password;
    HttpResponse (*run)(Sessions&, const HttpRequest&);
  } kRows[] = {
      {"GET", "/platform/v1/session", everybody, 0, false, &ShowOwn},
      {"DELETE", "/platform/v1/session", everybody, 0, true, &LogOut},
      {"POST", "/platform/v1/session/sealed", everybody, kSealBodyLimit, false, &Seal},
      {"GET", "/platform/v1/sessions", administrators, 0, false, &ListAll},
      {"DELETE", "/platform/v1/sessions", administrators, 0, false, &EndAll},
      {"GET", "/platform/v1/sessions/{n}", administrators, 0, false, &ShowNamed},
      {"DELETE", "/platform/v1/sessions/{n}", administrators, 0, false, &EndNamed},
  };
  for (const auto& row : kRows) {
    HttpRoute route;
    route.method = row.method;
    route.path = row.path;
    route.access = row.access;
    route.body_limit = row.body_limit;
    route.before_new_password = row.before_new_password;
    route.run = [sessions, run = row.run](const HttpRequest& request) { return run(*sessions, request); };
    // A wrong row stops the start.
    static_cast<void>(routes.Register(std::move(route)));
  }
}

}  // namespace host
