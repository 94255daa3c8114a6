#include "requests/StoredRequests.h"

#include <charconv>

#include "Database.h"
#include "OrvBase/TimeUtil.h"
#include "OwnerSession.h"
#include "platform/SqlText.h"

namespace host {
namespace {

namespace SqlText = platform::SqlText;

struct Column {
  const char* name;
  const char* sql;
  std::string StoredRequest::*field;
};
constexpr Column kColumns[] = {
    {"id", "id", &StoredRequest::id},
    {"time", R"(to_char(answered_at AT TIME ZONE 'UTC', 'YYYY-MM-DD"T"HH24:MI:SS.US"Z"'))", &StoredRequest::time},
    {"user_id", "user_id", &StoredRequest::user_id},
    {"user_name", "user_name", &StoredRequest::user_name},
    {"session", "session", &StoredRequest::session},
    {"client_address", "client_address", &StoredRequest::client_address},
    {"request_id", "request_id", &StoredRequest::request_id},
    {"method", "method", &StoredRequest::method},
    {"path", "path", &StoredRequest::path},
    {"ids", "array_to_json(ids)", &StoredRequest::ids},
    {"evidence_ids", "array_to_json(evidence_ids)", &StoredRequest::evidence_ids},
    {"status", "status", &StoredRequest::status},
    {"error_module", "error_module", &StoredRequest::error_module},
    {"error_code", "error_code", &StoredRequest::error_code},
    {"bytes_in", "bytes_in", &StoredRequest::bytes_in},
    {"bytes_out", "bytes_out", &StoredRequest::bytes_out},
};

/// The rows of an evidence are few and found by its index, to which OFFSET holds the planner; all others come in the
/// order of the primary key.
std::string QueryText(const RequestFilter& filter) {
  std::string columns;
  for (const auto& column : kColumns)
    columns.append(columns.empty() ? "" : ", ").append(column.sql).append(" AS ").append(column.name);
  std::string sql = "SELECT " + columns + " FROM ";
  if (filter.evidence) {
    sql += "(SELECT * FROM platform.request_log WHERE evidence_ids <> '{}' AND evidence_ids @> ARRAY[" +
           std::to_string(*filter.evidence) + "]::bigint[] OFFSET 0) AS request_log";
  } else {
    sql += "platform.request_log";
  }
  sql += " WHERE true";
  if (!filter.user.empty()) sql += " AND user_name = " + SqlText::Literal(filter.user);
  if (filter.since) sql += " AND answered_at >= to_timestamp(" + std::to_string(*filter.since) + ")";
  if (filter.until) sql += " AND answered_at < to_timestamp(" + std::to_string(*filter.until) + ")";
  if (const auto dash = filter.after.find('_'); dash != std::string::npos) {
    const auto time = SqlText::Literal(filter.after.substr(0, dash)) + "::timestamptz";
    // The first is for the choice of partitions.
    sql += " AND answered_at <= " + time + " AND (answered_at, id) < (" + time + ", " + filter.after.substr(dash + 1) +
           ")";
  }
  return sql + " ORDER BY answered_at DESC, request_log.id DESC LIMIT " + std::to_string(filter.limit);
}

}  // namespace

bool IsPlace(const std::string& text) {
  constexpr std::size_t kTimeSize = std::string_view("2026-11-22T21:40:00.123456Z").size();
  if (text.size() <= kTimeSize + 1 || text[kTimeSize] != '_' || text[kTimeSize - 1] != 'Z') return false;
  std::int64_t id = 0;
  const auto* const end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data() + kTimeSize + 1, end, id);
  return fault == std::errc() && stop == end && id >= 0 &&
         Orv::Base::TimeUtil::StrUTCTimeStamp2TimeT(std::string_view(text).substr(0, kTimeSize)) != -1;
}

std::optional<std::vector<StoredRequest>> ReadRequests(const RequestFilter& filter) {
  std::vector<StoredRequest> requests;
  const bool answered = Query(QueryText(filter), [&requests](kelp::IDBResultSet* rows) {
    for (; !rows->IsEof(); rows->Next()) {
      auto& request = requests.emplace_back();
      for (const auto& column : kColumns)
        request.*column.field = rows->GetString(column.name);
    }
  });
  return answered ? std::optional(std::move(requests)) : std::nullopt;
}

namespace {

// Who reads the log as a whole, such as a backup, is waited for only briefly: behind this, rows would wait, too.
constexpr char kSqlBeginPruning[] = "BEGIN; SET LOCAL lock_timeout = '5s'";
constexpr char kSqlMonths[] =
    "SELECT relname FROM pg_catalog.pg_inherits JOIN pg_catalog.pg_class AS c ON c.oid = inhrelid "
    "WHERE inhparent = 'platform.request_log'::regclass AND relname ~ '^request_log_[0-9]{4}_[0-9]{2}$' AND "
    "replace(right(relname, 7), '_', '-') < %s ORDER BY relname";
// Of months that have no partition.
constexpr char kSqlPruneRest[] =
    "WITH pruned AS (DELETE FROM platform.request_log_rest WHERE answered_at < (%s || '-01 00:00:00+00')::timestamptz "
    "RETURNING 1) SELECT count(*) FROM pruned";
constexpr char kSqlNotePruning[] =
    "INSERT INTO platform.auth_event (kind, done_by, detail) VALUES ('requests_pruned', 'command line', "
    "'the log of requests before ' || %s || ' was dropped')";
constexpr char kSqlThisMonth[] = "SELECT to_char(now() AT TIME ZONE 'UTC', 'YYYY-MM')";

bool IsMonth(const std::string& text) {
  return Orv::Base::TimeUtil::StrUTCTimeStamp2TimeT(text + "-01 00:00:00") != -1;
}

using Rows = platform::OwnerSession::Rows;

/// The steps of one transaction.
std::string DropMonths(platform::OwnerSession& session, const std::string& month, std::vector<std::string>& dropped) {
  const auto before = SqlText::Literal(month);
  const auto with_month = [&before](const char* sql) {
    std::string text(sql);
    return text.replace(text.find("%s"), 2, before);
  };
  Rows rows;
  if (auto fault = session.Run(kSqlBeginPruning); !fault.empty()) return fault;
  if (auto fault = session.Run(with_month(kSqlMonths), &rows); !fault.empty()) return fault;
  for (const auto& row : rows) {
    const auto table = "platform." + platform::SqlName(row[0]);
    Rows count;
    if (auto fault = session.Run("SELECT count(*) FROM " + table, &count); !fault.empty()) return fault;
    if (auto fault = session.Run("DROP TABLE " + table); !fault.empty()) return fault;
    dropped.push_back(row[0] + "\t" + count.at(0).at(0));
  }
  if (auto fault = session.Run(with_month(kSqlPruneRest), &rows); !fault.empty()) return fault;
  if (rows.at(0).at(0) != "0") dropped.push_back("request_log_rest\t" + rows[0][0]);
  if (dropped.empty()) return session.Run("ROLLBACK");
  if (auto fault = session.Run(with_month(kSqlNotePruning)); !fault.empty()) return fault;
  return session.Run("COMMIT");
}

}  // namespace

std::string PruneRequests(const std::string& owner_connection, const std::string& month,
                          std::vector<std::string>& dropped) {
  if (!IsMonth(month)) return "a month is written as 2026-01";
  platform::OwnerSession session(owner_connection);
  Rows now;
  auto fault = session.Open();
  if (fault.empty()) fault = session.Run(kSqlThisMonth, &now);
  if (!fault.empty()) return fault;
  if (month > now.at(0).at(0)) return "this month and those to come stay";
  fault = DropMonths(session, month, dropped);
  return fault.empty() ? "" : "nothing was dropped: " + fault;
}

}  // namespace host
