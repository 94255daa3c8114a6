#include "store/FileTable.h"

#include <charconv>
#include <initializer_list>

#include "FileManagerLog.h"
#include "KelpPlatform/DBManager.h"
#include "platform/SqlText.h"

namespace FileManager::FileTable {
namespace {

using kelp::IDBManager;
using kelp::IDBResultSet;
using platform::SqlText::Literal;

/// Links hold this shared, so that no id is taken that one of them is about to name (LinkStore).
constexpr char kSqlTakeIds[] = "SELECT pg_advisory_xact_lock(713, 0); ";
constexpr char kSqlOpen[] =
    "INSERT INTO filemanager.file (id, bytes, expected_sha256, name, media_type, received_by, received_by_name, "
    "address, "
    "source_begin, source_end, camera_id) SELECT filemanager.new_file_id(), ";
constexpr char kSqlOpenLimit[] =
    " WHERE (SELECT count(*) FROM filemanager.file WHERE state = 'receiving' AND received_by = ";
constexpr char kSqlOpened[] = " RETURNING id";

constexpr char kSqlColumns[] =
    "f.state, f.sha256, f.expected_sha256, f.bytes, f.name, f.media_type, f.received_by, f.received_by_name, "
    "f.address, "
    "f.camera_id";
struct TimeColumn {
  const char* name;
  std::string FileRow::*member;
};
constexpr TimeColumn kTimes[] = {
    {"opened_at", &FileRow::opened_at},       {"received_at", &FileRow::received_at},
    {"refused_at", &FileRow::refused_at},     {"checked_at", &FileRow::checked_at},
    {"source_begin", &FileRow::source_begin}, {"source_end", &FileRow::source_end},
};
constexpr TimeColumn kTexts[] = {
    {"state", &FileRow::state},
    {"sha256", &FileRow::sha256},
    {"expected_sha256", &FileRow::expected_sha256},
    {"name", &FileRow::name},
    {"media_type", &FileRow::media_type},
    {"received_by_name", &FileRow::received_by_name},
    {"address", &FileRow::address},
};

constexpr char kSqlFrom[] = " FROM filemanager.file AS f WHERE ";
constexpr char kSqlOfEvidence[] =
    " FROM filemanager.link AS l LEFT JOIN filemanager.file AS f ON f.id = l.file_id WHERE l.linked AND l.evidence_id "
    "= ";
constexpr char kSqlStale[] =
    "state = 'receiving' AND (refused_at < now() - interval '1 hour' OR coalesce(received_at, opened_at) < now() - "
    "make_interval(hours => ";
constexpr char kSqlSealed[] = "state = 'receiving' AND sha256 IS NOT NULL AND refused_at IS NULL";
constexpr char kSqlNextToCheck[] =
    "state IN ('whole', 'missing', 'altered') AND checked_at < now() - make_interval(hours => ";

constexpr char kSqlNotWhole[] = "SELECT wanted.id FROM unnest(ARRAY[";
constexpr char kSqlNotWholeEnd[] =
    "]::integer[]) AS wanted (id) WHERE NOT EXISTS (SELECT FROM filemanager.file AS f WHERE f.id = wanted.id AND "
    "f.state = "
    "'whole')";
constexpr char kSqlTotals[] =
    "SELECT coalesce(sum(bytes) FILTER (WHERE state = 'whole'), 0) AS whole_bytes, count(*) FILTER (WHERE state = "
    "'altered') AS altered, count(*) FILTER (WHERE state = 'missing') AS missing FROM filemanager.file";
constexpr char kSqlStrict[] = "SELECT coalesce(bool_and(strict), true)::integer AS strict FROM filemanager.site";

bool Query(const std::string& sql, const IDBManager::RowReader& reader) {
  return IDBManager::Instance()->ExecuteQuery(kPluginId, IDBManager::kConfigClass, sql, reader);
}

std::string TextOrNull(const std::string& text) { return text.empty() ? "NULL" : Literal(text); }
std::string NumberOrNull(std::int64_t number) { return number < 0 ? "NULL" : std::to_string(number); }

std::string Select(const char* id) {
  std::string sql = "SELECT " + std::string(id) + " AS id, " + kSqlColumns;
  for (const auto& time : kTimes) {
    sql += std::string(", to_char(f.") + time.name + " AT TIME ZONE 'UTC', 'YYYY-MM-DD\"T\"HH24:MI:SS.MS\"Z\"') AS " +
           time.name;
  }
  return sql;
}

/// A number of 64 bits; none for NULL.
std::optional<std::int64_t> NumberIn(const IDBResultSet& row, const char* column) {
  const auto text = row.GetString(column);
  std::int64_t number = 0;
  const auto fault = std::from_chars(text.data(), text.data() + text.size(), number).ec;
  return fault == std::errc() ? std::optional(number) : std::nullopt;
}

FileRow RowOf(const IDBResultSet& row) {
  FileRow file;
  file.id = row.GetInt("id");
  for (const auto& text : kTexts)
    file.*text.member = row.GetString(text.name);
  for (const auto& time : kTimes)
    file.*time.member = row.GetString(time.name);
  file.received_by = row.GetInt("received_by");
  if (!row.GetString("camera_id").empty()) file.camera_id = row.GetInt("camera_id");
  file.bytes = NumberIn(row, "bytes").value_or(-1);
  return file;
}

bool Rows(std::vector<FileRow>& rows, const std::string& sql) {
  rows.clear();
  return Query(sql, [&rows](IDBResultSet* result) {
    for (; !result->IsEof(); result->Next())
      rows.push_back(RowOf(*result));
  });
}

Found One(FileRow& row, const std::string& sql) {
  std::vector<FileRow> rows;
  if (!Rows(rows, sql)) return Found::kUnknown;
  if (rows.empty()) return Found::kNo;
  row = std::move(rows.front());
  return Found::kYes;
}

/// Whether the update met a row. `set` and `where` are whole.
bool Update(const std::string& set, const std::string& where) {
  bool met = false;
  return Query("UPDATE filemanager.file SET " + set + " WHERE " + where + " RETURNING id",
               [&met](IDBResultSet* rows) { met = !rows->IsEof(); }) &&
         met;
}

std::string IsReceiving(std::int32_t id) { return "id = " + std::to_string(id) + " AND state = 'receiving'"; }

}  // namespace

Found Open(FileRow& row, std::int64_t limit) {
  std::string values;
  for (const auto& value :
       {NumberOrNull(row.bytes), TextOrNull(row.expected_sha256), Literal(row.name), Literal(row.media_type),
        std::to_string(row.received_by), Literal(row.received_by_name), Literal(row.address),
        TextOrNull(row.source_begin) + "::timestamptz", TextOrNull(row.source_end) + "::timestamptz",
        row.camera_id ? std::to_string(*row.camera_id) : "NULL::integer"}) {
    values += (values.empty() ? "" : ", ") + value;
  }
  const auto sql = kSqlTakeIds + (kSqlOpen + values) + kSqlOpenLimit + std::to_string(row.received_by) + ") < " +
                   std::to_string(limit) + kSqlOpened;
  int id = 0;
  if (!Query(sql, [&id](IDBResultSet* rows) { id = rows->GetInt("id"); })) return Found::kUnknown;
  row.id = id;
  row.state = file_state::kReceiving;
  return id > 0 ? Found::kYes : Found::kNo;
}

Found Read(FileRow& row, std::int32_t id) {
  return One(row, Select("f.id") + kSqlFrom + "f.id = " + std::to_string(id));
}

bool OfEvidence(std::vector<FileRow>& rows, std::int32_t evidence_id) {
  return Rows(rows, Select("l.file_id") + kSqlOfEvidence + std::to_string(evidence_id) + " ORDER BY l.file_id");
}

bool List(std::vector<FileRow>& rows, std::string_view state, std::int32_t after, std::int64_t limit) {
  return Rows(rows, Select("f.id") + kSqlFrom + "f.id > " + std::to_string(after) +
                        (state.empty() ? "" : " AND f.state = " + Literal(state)) + " ORDER BY f.id LIMIT " +
                        std::to_string(limit));
}

bool Seal(std::int32_t id, const std::string& sha256, std::int64_t bytes) {
  return Update("sha256 = " + Literal(sha256) + ", bytes = " + std::to_string(bytes) + ", received_at = now()",
                IsReceiving(id) + " AND refused_at IS NULL");
}

bool MarkWhole(std::int32_t id) {
  return Update("state = 'whole', checked_at = now()",
                "id = " + std::to_string(id) + " AND sha256 IS NOT NULL AND state IN ('receiving', 'whole')");
}

bool MarkRefused(std::int32_t id, const std::string& sha256) {
  return Update("refused_at = now(), sha256 = " + Literal(sha256), IsReceiving(id));
}

bool MarkReceived(std::int32_t id) { return Update("received_at = now()", IsReceiving(id)); }

bool MarkRemoved(std::int32_t id) { return Update("state = 'removed'", IsReceiving(id)); }

bool MarkChecked(const std::string& sha256, std::string_view state) {
  return Update("checked_at = now(), state = " + Literal(state),
                "sha256 = " + Literal(sha256) + " AND state IN ('whole', 'missing', 'altered')");
}

bool Stale(std::vector<FileRow>& rows, std::int64_t hours) {
  return Rows(rows, Select("f.id") + kSqlFrom + kSqlStale + std::to_string(hours) + "))");
}

bool Sealed(std::vector<FileRow>& rows) { return Rows(rows, Select("f.id") + kSqlFrom + kSqlSealed); }

Found NextToCheck(FileRow& row, std::int64_t hours) {
  return One(row, Select("f.id") + kSqlFrom + kSqlNextToCheck + std::to_string(hours) +
                      ") ORDER BY f.checked_at, f.id LIMIT 1");
}

bool NotWhole(FileIds& not_whole, const FileIds& ids) {
  std::string list;
  for (const auto id : ids)
    list += (list.empty() ? "" : ",") + std::to_string(id);
  return ids.empty() || Query(kSqlNotWhole + list + kSqlNotWholeEnd, [&not_whole](IDBResultSet* rows) {
           for (; !rows->IsEof(); rows->Next())
             not_whole.insert(rows->GetInt("id"));
         });
}

bool ReadTotals(Totals& totals) {
  return Query(kSqlTotals, [&totals](IDBResultSet* rows) {
    totals.whole_bytes = NumberIn(*rows, "whole_bytes").value_or(0);
    totals.altered = NumberIn(*rows, "altered").value_or(0);
    totals.missing = NumberIn(*rows, "missing").value_or(0);
  });
}

bool BeganStrict(bool& strict) {
  return Query(kSqlStrict, [&strict](IDBResultSet* rows) { strict = rows->GetInt("strict") != 0; });
}

}  // namespace FileManager::FileTable
