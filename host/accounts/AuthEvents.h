#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "accounts/FailedTries.h"

/// The table platform.auth_event: who came in, who was refused, and what was done to accounts. Rows are added and read,
/// never changed. Thread-safe.
namespace host {

/// Kinds of event.
inline constexpr char kEventLogin[] = "login";
inline constexpr char kEventLoginRefused[] = "login_refused";
inline constexpr char kEventFreeze[] = "freeze";
inline constexpr char kEventLogout[] = "logout";
inline constexpr char kEventSessionEnded[] = "session_ended";
inline constexpr char kEventUserAdded[] = "user_added";
inline constexpr char kEventUserChanged[] = "user_changed";
inline constexpr char kEventPasswordChanged[] = "password_changed";
inline constexpr char kEventPasswordRefused[] = "password_refused";
inline constexpr char kEventsLeftOut[] = "events_left_out";
inline constexpr char kEventsPruned[] = "events_pruned";

/// The actor of what is done by a command of the host; no user has this name.
inline constexpr char kCommandLine[] = "command line";

struct AuthEvent {
  std::string kind;
  /// Whom it is about; as sent, of whatever name.
  std::string user_name;
  /// Who did it, when that is somebody else.
  std::string done_by = {};
  /// Both are those of the request that the thread works for, unless they are given.
  std::string client_address = {};
  std::string request_id = {};
  std::string detail = {};
  std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
};

/// Hands an event to the running writer (AuthEventWriter.h) and returns at once; without one the event is only logged.
/// For what is not part of a statement that changes accounts.
void NoteAuthEvent(AuthEvent event);

/// Notes a try with a wrong password that was counted, and the freezes that it led to.
void NoteRefusedTry(const char* kind, const std::string& user_name, const std::string& client_address,
                    LoginTries& tries);
/// Notes that an address was frozen, by a try on that name.
void NoteFreezeOfClient(const std::string& user_name, const std::string& client_address);

/// One row's values, as "(…)" of an INSERT with kAuthEventColumns. Texts are made storable and cut to 256 characters, a
/// detail to 2000.
inline constexpr char kAuthEventColumns[] =
    "(occurred_at, kind, user_name, done_by, client_address, request_id, detail)";
[[nodiscard]] std::string AuthEventValues(const AuthEvent& event);

/// `event` with address and id of this thread's request where it has none.
[[nodiscard]] AuthEvent OfThisRequest(AuthEvent event);

struct StoredAuthEvent {
  std::string id;
  /// RFC 3339 in UTC, with milliseconds.
  std::string time;
  std::string kind;
  std::string user_name;
  std::string done_by;
  std::string client_address;
  std::string request_id;
  std::string detail;
};

struct AuthEventFilter {
  /// About this user, or done by him.
  std::optional<std::string> user;
  /// Seconds since 1970 in UTC: from this one on, and before that one.
  std::optional<std::int64_t> since;
  std::optional<std::int64_t> until;
  /// Older than the event with this id.
  std::optional<std::int64_t> after;
  int limit = 100;
};

/// The newest events that match, newest first; none when the database does not answer.
[[nodiscard]] std::optional<std::vector<StoredAuthEvent>> ReadAuthEvents(const AuthEventFilter& filter);

/// The statement that deletes what is older than `before`, seconds since 1970, with the owner's connection, and leaves
/// an event about that behind.
[[nodiscard]] std::string PruneAuthEventsStatement(std::int64_t before);

/// Seconds since 1970 of "2026-11-01" or "2026-11-01T10:00:00", UTC, or with "Z" or an offset behind it; none for any
/// other text.
[[nodiscard]] std::optional<std::int64_t> ParseEventTime(const std::string& text);

}  // namespace host
