#include "accounts/AuthEvents.h"

#include <string_view>
#include <utility>

#include "Database.h"
#include "OrvBase/TimeUtil.h"
#include "platform/RequestContext.h"
#include "platform/SqlText.h"

namespace host {
namespace {

namespace SqlText = platform::SqlText;

constexpr std::size_t kMostCharacters = 256;
constexpr std::size_t kMostOfDetail = 2000;

bool IsInsideCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/// The first `most` characters of valid UTF-8.
std::string Beginning(std::string text, std::size_t most) {
  std::size_t characters = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (IsInsideCharacter(text[at]) || characters++ < most) continue;
    text.resize(at);
    break;
  }
  return text;
}

std::string Value(const std::string& text, std::size_t most = kMostCharacters) {
  // What a client sends may be long: the rest need not be looked at.
  constexpr std::size_t kLongestCharacter = 4;
  const auto begin = std::string_view(text).substr(0, most * kLongestCharacter);
  return SqlText::Literal(Beginning(SqlText::Repaired(begin), most));
}

std::string Time(std::chrono::system_clock::time_point time) {
  const auto since = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
  return "to_timestamp(" + std::to_string(since.count()) + " / 1000.0)";
}

constexpr char kSqlReadAuthEvents[] =
    "SELECT id, to_char(occurred_at AT TIME ZONE 'UTC', 'YYYY-MM-DD\"T\"HH24:MI:SS.MS\"Z\"') AS time, kind, user_name,"
    " done_by, client_address, request_id, detail FROM platform.auth_event WHERE true%s ORDER BY id DESC LIMIT %d";

std::string Conditions(const AuthEventFilter& filter) {
  std::string conditions;
  const auto add = [&conditions](const char* begin, std::int64_t number, const char* end) {
    conditions += begin + std::to_string(number) + end;
  };
  if (filter.user) {
    const auto name = Value(*filter.user);
    conditions += " AND (user_name = " + name + " OR done_by = " + name + ")";
  }
  if (filter.since) add(" AND occurred_at >= to_timestamp(", *filter.since, ")");
  if (filter.until) add(" AND occurred_at < to_timestamp(", *filter.until, ")");
  if (filter.after) add(" AND id < ", *filter.after, "");
  return conditions;
}

constexpr char kSqlPruneAuthEvents[] =
    "WITH pruned AS (DELETE FROM platform.auth_event WHERE occurred_at < to_timestamp(%lld) RETURNING 1)"
    " INSERT INTO platform.auth_event (kind, done_by, detail) SELECT '%s', '%s', count(*) || ' events before '"
    " || to_char(to_timestamp(%lld) AT TIME ZONE 'UTC', 'YYYY-MM-DD\"T\"HH24:MI:SS\"Z\"') || ' deleted' FROM pruned"
    " RETURNING (SELECT count(*) FROM pruned)";

}  // namespace

AuthEvent OfThisRequest(AuthEvent event) {
  const auto* const request = platform::RequestContext::Current();
  if (request == nullptr) return event;
  if (event.client_address.empty()) event.client_address = request->client_address;
  if (event.request_id.empty()) event.request_id = request->request_id;
  return event;
}

void NoteRefusedTry(const char* kind, const std::string& user_name, const std::string& client_address,
                    LoginTries& tries) {
  NoteAuthEvent({kind, user_name, "", client_address});
  if (tries.users.IsFrozen(user_name)) NoteAuthEvent({kEventFreeze, user_name, "", client_address, "", "the user"});
  if (tries.clients.IsFrozen(client_address)) NoteFreezeOfClient(user_name, client_address);
}

void NoteFreezeOfClient(const std::string& user_name, const std::string& client_address) {
  NoteAuthEvent({kEventFreeze, user_name, "", client_address, "", "the client's address"});
}

std::string AuthEventValues(const AuthEvent& event) {
  std::string values = "(" + Time(event.time);
  for (const auto* const text :
       {&event.kind, &event.user_name, &event.done_by, &event.client_address, &event.request_id})
    values += ", " + Value(*text);
  return values + ", " + Value(event.detail, kMostOfDetail) + ")";
}

std::optional<std::vector<StoredAuthEvent>> ReadAuthEvents(const AuthEventFilter& filter) {
  std::vector<StoredAuthEvent> events;
  const bool answered = Query(
      SqlText::Format(kSqlReadAuthEvents, Conditions(filter).c_str(), filter.limit),
      [&events](kelp::IDBResultSet* rows) {
        for (; !rows->IsEof(); rows->Next()) {
          events.push_back({rows->GetString("id"), rows->GetString("time"), rows->GetString("kind"),
                            rows->GetString("user_name"), rows->GetString("done_by"), rows->GetString("client_address"),
                            rows->GetString("request_id"), rows->GetString("detail")});
        }
      });
  if (!answered) return std::nullopt;
  return events;
}

std::string PruneAuthEventsStatement(std::int64_t before) {
  const auto number = static_cast<long long>(before);
  return SqlText::Format(kSqlPruneAuthEvents, number, kEventsPruned, kCommandLine, number);
}

std::optional<std::int64_t> ParseEventTime(const std::string& text) {
  constexpr std::size_t kDateSize = 10;
  const auto time = Orv::Base::TimeUtil::StrUTCTimeStamp2TimeT(text.size() == kDateSize ? text + "T00:00:00" : text);
  if (time < 0) return std::nullopt;
  return time;
}

}  // namespace host
