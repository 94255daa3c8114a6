// The options of custom attributes.

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"
#include "platform/SmallRows.h"

namespace Evidence {

using Statement::Escaped;
using Statement::Format;

namespace {

constexpr char kSqlInsertOption[] =
    "INSERT INTO evidence.evidence_option (ID, name,custom_id,deleted) VALUES (%d, '%s',%d,%d);";

std::string InsertOptionText(const tag_EvidenceOption_& option, std::int32_t custom_id) {
  return Format(kSqlInsertOption, option.option_id, Escaped(option.option_name).c_str(), custom_id, 0);
}

/// Appends the options of a result.
void ReadOptions(std::vector<tag_EvidenceOption_>& options, kelp::IDBResultSet* rows,
                 Operation operation = Operation::current()) {
  if (rows == nullptr) {
    Orv::Base::Error::SetLastError({0, kStatementFailed});
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Query ftp settings failed.[%s(%d)]");  // sic
    return;
  }
  for (; !rows->IsEof(); rows->Next())
    options.push_back({rows->GetInt("ID"), rows->GetString("name")});
}

}  // namespace

constexpr char kSqlOptionsOfCustom[] = "SELECT * FROM evidence.evidence_option WHERE custom_id = %d AND deleted = 0;";

bool CEvidenceMgrDBByPG::ReadAllCustomOptions(std::list<EvidenceCustomPtr>& customs) {
  // The text grows from custom to custom: the database returns the result of its last statement.
  std::string sqls;
  for (const auto& custom : customs) {
    if (custom->custom_type == kCustomFreeText) continue;
    sqls += Format(kSqlOptionsOfCustom, custom->custom_id);
    const bool done =
        Statement::Query(sqls, [&custom](kelp::IDBResultSet* rows) { ReadOptions(custom->custom_options, rows); });
    if (!done) {
      EVIDENCE_LOG(kLogFailure, "[%s]Get custom option failed, sqls[%s].[%s(%d)]", sqls.c_str());
      return Fail(kStatementFailed);
    }
  }
  return true;
}

constexpr char kSqlOptionsOfOne[] = "SELECT * FROM evidence.evidence_option WHERE custom_id = %d AND deleted = 0";

bool CEvidenceMgrDBByPG::GetOptionsByCustom(std::vector<tag_EvidenceOption_>& options,
                                            const EvidenceCustomPtr& custom) {
  if (!custom) return false;
  const platform::SmallRows small_rows;
  const bool done = Statement::Query(Format(kSqlOptionsOfOne, custom->custom_id),
                                     [&options](kelp::IDBResultSet* rows) { ReadOptions(options, rows); });
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get custom option failed, id[%d].[%s(%d)]", custom->custom_id);
  return Fail(kStatementFailed);
}

bool CEvidenceMgrDBByPG::InsertOptionsByCustom(std::list<EvidenceCustomPtr>& customs) {
  std::string sqls;
  for (const auto& custom : customs) {
    for (auto& option : custom->custom_options) {
      option.option_id = QueryEvidenceOptionSeqID();
      sqls += InsertOptionText(option, custom->custom_id);
    }
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Insert evidence option failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

bool CEvidenceMgrDBByPG::InsertOptions(const std::vector<tag_EvidenceOption_>& options,
                                       const EvidenceCustomPtr& custom) {
  if (options.empty()) return true;
  if (!custom) return false;
  std::string sqls;
  for (const auto& option : options)
    sqls += InsertOptionText(option, custom->custom_id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Insert evidence option failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlUpdateOption[] = "UPDATE evidence.evidence_option SET name = '%s' WHERE ID = %d;";

bool CEvidenceMgrDBByPG::UpdatetOptions(const std::vector<tag_EvidenceOption_>& options,  // sic
                                        const EvidenceCustomPtr& /*custom*/) {
  std::string sqls;
  for (const auto& option : options) {
    sqls += Format(kSqlUpdateOption, Escaped(option.option_name).c_str(), option.option_id);
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update custom option failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlDeleteOption[] = "UPDATE evidence.evidence_option SET deleted = 1 WHERE ID = %d;";

bool CEvidenceMgrDBByPG::DeleteOptions(const std::vector<tag_EvidenceOption_>& options,
                                       const EvidenceCustomPtr& /*custom*/) {
  std::string sqls;
  for (const auto& option : options)
    sqls += Format(kSqlDeleteOption, option.option_id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidence custom options failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlDeleteOptionsOfCustom[] = "UPDATE evidence.evidence_option SET deleted = 1 WHERE custom_id = %d;";

bool CEvidenceMgrDBByPG::DeleteOptionsByCustom(const IdList& custom_ids) {
  std::string sqls;
  for (const std::int32_t id : custom_ids)
    sqls += Format(kSqlDeleteOptionsOfCustom, id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidence custom options failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

}  // namespace Evidence
