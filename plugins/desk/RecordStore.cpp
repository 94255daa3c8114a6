#include "RecordStore.h"

#include <utility>

#include "DeskLog.h"
#include "KelpPlatform/DBManager.h"
#include "OrvBase/TimeUtil.h"
#include "platform/SqlText.h"

namespace desk::RecordStore {
namespace {

using kelp::IDBManager;
using kelp::IDBResultSet;
using platform::Json;

/// The digest takes in every column, also one that this program does not know, and each value without its key, which is
/// a new one after each change.
constexpr char kSqlRecord[] =
    "SELECT e.*, v.list AS value_list, "
    "encode(sha256(convert_to(e::text || v.list, 'UTF8')), 'hex') AS digest, "
    "to_char(e.update_time + make_interval(mins => e.update_time_offset), 'YYYY-MM-DD HH24:MI:SS') AS changed_at, "
    "(SELECT name FROM evidence.evidence_scense WHERE ID = e.scene_id) AS scene_name, "
    "(SELECT name FROM evidence.evidence_outcome WHERE ID = e.outcome_id) AS outcome_name, "
    "(SELECT count(*) FROM evidence.evidence_file WHERE evidence_id = e.ID AND deleted = 0) AS file_count, "
    "(SELECT coalesce(json_agg(json_build_array(l.ID, coalesce(f.name, l.file_name), coalesce(f.state, 'unknown'), "
    "f.bytes, f.sha256) ORDER BY l.ID), '[]')::text FROM evidence.evidence_file AS l LEFT JOIN filemanager.file AS f "
    "ON "
    "f.id = l.ID WHERE l.evidence_id = e.ID AND l.deleted = 0) AS file_list "
    "FROM evidence.evidence e CROSS JOIN LATERAL (SELECT coalesce(json_agg(json_build_array(custom_id, option_id, "
    "option_text) ORDER BY ID, custom_id, option_id, option_text COLLATE \"C\"), '[]')::text AS list "
    "FROM evidence.evidence_custom_info WHERE evidence_id = e.ID AND deleted = 0) AS v "
    "WHERE e.deleted = 0 AND e.ID = ";

constexpr char kSqlSceneName[] = "SELECT (SELECT name FROM evidence.evidence_scense WHERE ID = ";
constexpr char kSqlOutcomeName[] = ") AS scene_name, (SELECT name FROM evidence.evidence_outcome WHERE ID = ";
constexpr char kSqlNamesEnd[] = ") AS outcome_name";

/// A row for each count; `kind` is its place in kLists.
constexpr char kSqlCounts[] =
    "WITH live AS MATERIALIZED (SELECT local_create_time::date AS day, evidence_status AS status, evidence_type_id AS "
    "type, evidence_create_user_id AS creator, evidence_create_user_name AS creator_name FROM evidence.evidence WHERE "
    "deleted = 0), days AS (SELECT day, count(*) AS count, count(*) FILTER (WHERE status = 1) AS open FROM live WHERE "
    "day IS NOT NULL GROUP BY day ORDER BY day DESC LIMIT %d), creators AS (SELECT creator, max(creator_name) AS name, "
    "count(*) AS count FROM live GROUP BY creator ORDER BY count DESC, creator LIMIT %d) "
    "SELECT 0 AS kind, 0 AS id, to_char(day, 'YYYY-MM-DD') AS name, count, open, row_number() OVER (ORDER BY day) AS "
    "place FROM days UNION ALL "
    "SELECT 1, status, '', count(*), 0, row_number() OVER (ORDER BY status) FROM live GROUP BY status UNION ALL "
    "SELECT 2, type, (SELECT name FROM evidence.evidence_type WHERE ID = live.type), count(*), 0, row_number() OVER "
    "(ORDER BY type) FROM live GROUP BY type UNION ALL "
    "SELECT 3, creator, name, count, 0, row_number() OVER (ORDER BY count DESC, creator) FROM creators "
    "ORDER BY kind, place";
constexpr std::vector<Count> Counts::*kLists[] = {&Counts::days, &Counts::statuses, &Counts::types, &Counts::creators};

bool Query(const std::string& sql, const IDBManager::RowReader& reader) {
  return IDBManager::Instance()->ExecuteQuery(kPluginId, IDBManager::kConfigClass, sql, reader);
}

std::int32_t NumberIn(const Json& json) {
  const auto* const number = json.Integer();
  return number == nullptr ? -1 : static_cast<std::int32_t>(*number);
}

/// `text` is a list of lists of attribute, option and text.
bool ReadValues(std::vector<Value>& values, const std::string& text) {
  std::string fault;
  const auto list = Json::Parse(text, fault);
  if (!list || list->Elements() == nullptr) {
    DESK_LOG(kLogFailure, "The values of an evidence cannot be read: %s", fault.c_str());
    return false;
  }
  for (const auto& element : *list->Elements()) {
    const auto& value = *element.Elements();
    const auto* const stored = value[2].String();
    values.push_back({NumberIn(value[0]), NumberIn(value[1]), stored == nullptr ? std::string() : *stored});
  }
  return true;
}

/// `text` is a list of lists of id, name, state, bytes and digest, the last two null for what is not known.
bool ReadFiles(std::vector<File>& files, const std::string& text) {
  std::string fault;
  const auto list = Json::Parse(text, fault);
  if (!list || list->Elements() == nullptr) {
    DESK_LOG(kLogFailure, "The files of an evidence cannot be read: %s", fault.c_str());
    return false;
  }
  const auto text_of = [](const Json& json) { return json.String() == nullptr ? std::string() : *json.String(); };
  for (const auto& element : *list->Elements()) {
    const auto& file = *element.Elements();
    const auto* const bytes = file[3].Integer();
    files.push_back(
        {NumberIn(file[0]), text_of(file[1]), text_of(file[2]), bytes == nullptr ? -1 : *bytes, text_of(file[4])});
  }
  return true;
}

bool ReadRow(Record& record, Names& names, const IDBResultSet& row) {
  for (const auto& field : kTexts)
    record.*field.member = row.GetString(field.column);
  for (const auto& field : kNumbers)
    record.*field.member = row.GetInt(field.column);
  for (const auto& field : kEntries)
    record.*field.member = row.GetInt(field.column);
  record.creator_id = row.GetInt("evidence_create_user_id");
  record.creator_name = row.GetString("evidence_create_user_name");
  using Orv::Base::TimeUtil::LocalTime2TimeStrISO;
  record.create_time = LocalTime2TimeStrISO(row.GetString("local_create_time"), row.GetInt("create_time_offset"));
  record.update_time = LocalTime2TimeStrISO(row.GetString("changed_at"), row.GetInt("update_time_offset"));
  record.file_count = row.GetInt("file_count");
  record.digest = row.GetString("digest");
  names.scene = row.GetString("scene_name");
  names.outcome = row.GetString("outcome_name");
  return ReadValues(record.values, row.GetString("value_list")) && ReadFiles(record.files, row.GetString("file_list"));
}

}  // namespace

// Only numbers go into the texts: nothing needs quoting.
Found Read(Record& record, Names& names, std::int32_t evidence_id) {
  auto found = Found::kNo;
  const bool done = Query(kSqlRecord + std::to_string(evidence_id), [&](IDBResultSet* rows) {
    if (!rows->IsEof()) found = ReadRow(record, names, *rows) ? Found::kYes : Found::kUnknown;
  });
  if (done && found != Found::kUnknown) return found;
  DESK_LOG(kLogFailure, "Evidence %d cannot be read", evidence_id);
  return Found::kUnknown;
}

bool ReadNames(Names& names, std::int32_t scene_id, std::int32_t outcome_id) {
  const auto sql =
      kSqlSceneName + std::to_string(scene_id) + kSqlOutcomeName + std::to_string(outcome_id) + kSqlNamesEnd;
  return Query(sql, [&](IDBResultSet* rows) {
    names.scene = rows->GetString("scene_name");
    names.outcome = rows->GetString("outcome_name");
  });
}

bool ReadCounts(Counts& counts) {
  const auto sql = platform::SqlText::Format(kSqlCounts, kMostDays, kMostCreators);
  const bool done = Query(sql, [&](IDBResultSet* rows) {
    for (; !rows->IsEof(); rows->Next()) {
      auto& list = counts.*kLists[static_cast<std::size_t>(rows->GetInt("kind"))];
      list.push_back({rows->GetInt("id"), rows->GetString("name"), rows->GetInt("count"), rows->GetInt("open")});
    }
  });
  if (!done) DESK_LOG(kLogFailure, "The evidences cannot be counted");
  return done;
}

}  // namespace desk::RecordStore
