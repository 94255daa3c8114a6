#include <ctime>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/TextList.h"
#include "OrvBase/TimeUtil.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Statement::Escaped;
using Statement::Format;

namespace {

/// A value as stored in its column: "number:text".
std::string StoredValue(std::int32_t number, const std::string& text) {
  return std::to_string(number) + ':' + Escaped(text);
}

/// `operation_type` of a device entry.
constexpr std::int32_t kDeviceOperation = 5;

/// The change in one row, ready for its columns.
struct ChangeColumns {
  std::string file_name;
  std::int32_t mod_type = kPlainEntry;
  std::string before_mod;
  std::string after_mod;
};

ChangeColumns ColumnsOf(const change_item& item) {
  if (item.mod_type == kPlainEntry) return {Escaped(item.before_mod), kPlainEntry, {}, {}};
  return {Escaped(item.file_name), item.mod_type, StoredValue(item.before_id, item.before_mod),
          StoredValue(item.after_id, item.after_mod)};
}

constexpr std::size_t kStoredPieces = 4;

/// Splits a stored "number:text". The text may hold up to two colons; what follows a third is lost.
void SplitStoredValue(const std::string& value, std::int32_t& number, std::string& text) {
  if (value.empty()) {
    text.clear();
    return;
  }
  const auto pieces = SplitKeepingEmpty(value, ':');
  number = ExtractDecimal(pieces.front());
  text.clear();
  for (std::size_t n = 1; n < pieces.size() && n < kStoredPieces; ++n) {
    if (n > 1) text += ':';
    text += pieces[n];
  }
}

void ReadDeviceEntry(const kelp::IDBResultSet& row, operation_record& record, change_item& item) {
  record.is_device = 1;
  record.user_name = row.GetString("camera_name");
  record.dev_name = row.GetString("dev_name");
  record.user_ip = row.GetString("dev_ip");
  item.mod_type = kPlainEntry;
  item.before_mod = row.GetString("file_name");
}

void ReadUserEntry(const kelp::IDBResultSet& row, operation_record& record, change_item& item) {
  record.is_device = 0;
  record.user_name = row.GetString("user_name");
  record.user_ip = row.GetString("user_ip");
  item.mod_type = row.GetInt("mod_type");
  if (item.mod_type == kTypeChanged || item.mod_type == kDescChanged) {
    item.file_name = row.GetString("file_name");
    SplitStoredValue(row.GetString("before_mod"), item.before_id, item.before_mod);
    SplitStoredValue(row.GetString("after_mod"), item.after_id, item.after_mod);
  } else {
    item.before_mod = row.GetString("file_name");
  }
}

/// Merges the rows of one write by one user at one time into one record.
void FoldRow(std::map<std::string, operation_record>& records, const kelp::IDBResultSet& row,
             std::int32_t evidence_id) {
  operation_record record;
  change_item item;
  record.evidence_id = evidence_id;
  record.occur_time =
      Orv::Base::TimeUtil::LocalTime2TimeStrISO(row.GetString("occur_local_time"), row.GetInt("occur_time_offset"));
  record.operation_type = row.GetInt("operation_type");
  record.client_type = row.GetInt("client_type");
  if (record.operation_type == kDeviceOperation) {
    ReadDeviceEntry(row, record, item);
  } else {
    ReadUserEntry(row, record, item);
  }
  const std::string key =
      std::to_string(record.operation_type) + record.occur_time + record.user_name + record.dev_name + record.user_ip;
  auto& folded = records.try_emplace(key, std::move(record)).first->second;
  folded.change_items.push_back(std::move(item));
}

}  // namespace

constexpr char kSqlInsertLog[] =
    "INSERT INTO evidence.operation_log (ID, evidence_id, user_name, user_ip, operation_type, file_name, "
    "occur_local_time, occur_time_offset, camera_name, dev_name, dev_ip, mod_type , before_mod, after_mod, "
    "client_type) VALUES (%d, %d, '%s', '%s', %d, '%s', '%s', '%d', '%s', '%s', '%s', %d, '%s', '%s', %d);";

bool CEvidenceMgrDBByPG::WriteEvidenceLog(const std::vector<operation_record>& records, std::int32_t client_type) {
  if (records.empty()) return true;
  const auto now = Statement::LocalTimeOf(std::time(nullptr));
  std::list<std::string> sqls;
  const auto add_row = [&](const operation_record& record, const ChangeColumns& change) {
    const std::int32_t key = QueryLastSeqID("evidence.operation_log_id_seq");
    const std::string user_name = Escaped(record.user_name);
    const std::string user_ip = Escaped(record.user_ip);
    sqls.push_back(Format(kSqlInsertLog, key, record.evidence_id, user_name.c_str(), user_ip.c_str(),
                          record.operation_type, change.file_name.c_str(), now.text.c_str(), now.offset_minutes,
                          user_name.c_str(), Escaped(record.dev_name).c_str(), user_ip.c_str(), change.mod_type,
                          change.before_mod.c_str(), change.after_mod.c_str(), client_type));
  };
  for (const auto& record : records) {
    for (const auto& item : record.change_items)
      add_row(record, ColumnsOf(item));
    if (record.change_items.empty()) add_row(record, {});
  }
  if (Statement::ExecuteList(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Insert evidence file failed, sql_list[%d].[%s(%d)]",  // sic
               static_cast<int>(sqls.size()));
  return Fail(kStatementFailed);
}

constexpr char kSqlLogOfEvidence[] = "SELECT * FROM evidence.operation_log WHERE evidence_id = %d ";

bool CEvidenceMgrDBByPG::GetEvidenceLog(std::map<std::string, operation_record>& records, IdList& /*reserved*/,
                                        std::int32_t evidence_id) {
  const bool done =
      Statement::Query(Format(kSqlLogOfEvidence, evidence_id),
                       Statement::EachRow([&](const kelp::IDBResultSet& row) { FoldRow(records, row, evidence_id); }));
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence label failed[%s(%d)]");  // sic
  return Fail(kStatementFailed);
}

}  // namespace Evidence
