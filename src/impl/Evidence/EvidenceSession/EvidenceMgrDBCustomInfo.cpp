// The values of custom attributes in evidences.

#include <algorithm>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/TextList.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"
#include "platform/LongStatements.h"

namespace Evidence {

using Statement::Format;

namespace {

void MissingCursor(Operation operation = Operation::current()) {
  Orv::Base::Error::SetLastError({0, kStatementFailed});
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Query ftp settings failed.[%s(%d)]");  // sic
}

/// A row as a custom with its one option.
tag_EvidenceCustom_ CustomOfRow(const kelp::IDBResultSet& row) {
  tag_EvidenceCustom_ custom;
  custom.custom_id = row.GetInt("custom_id");
  custom.custom_options.push_back({row.GetInt("option_id"), row.GetString("option_text")});
  return custom;
}

/// Whether a value would end its literal: values are inserted unescaped.
bool HoldsUnsafeValue(const _tag_Evidence_& evidence) {
  return std::ranges::any_of(evidence.evidence_customs, [](const tag_EvidenceCustom_& custom) {
    return std::ranges::any_of(custom.custom_options, [](const tag_EvidenceOption_& option) {
      return Statement::EndsLiteral(option.option_name);
    });
  });
}

/// One statement per chosen option. Each custom gets one key from the sequence, shared by all its rows.
template <const auto& kSql>
std::string ValueTexts(IEvidenceMgrDB& store, const _tag_Evidence_& evidence) {
  std::string sqls;
  for (const auto& custom : evidence.evidence_customs) {
    const std::int32_t key = store.QueryEvidenceCustomInfoSeqID();
    for (const auto& option : custom.custom_options) {
      sqls += Format(kSql, key, evidence.id, custom.custom_id, option.option_id,
                     platform::SqlText::Unescaped(option.option_name).c_str(), 0);
    }
  }
  return sqls;
}

}  // namespace

constexpr char kSqlInsertValue[] =
    "INSERT INTO evidence.evidence_custom_info (ID, evidence_id, custom_id,option_id, option_text, deleted)VALUES (%d, "
    "%d,%d, %d, '%s',%d);";

bool CEvidenceMgrDBByPG::InsertEvidenceCustomInfo(const EvidencePtr& evidence) {
  if (!evidence) return Fail(kBadInput);
  const std::string sql = ValueTexts<kSqlInsertValue>(*this, *evidence);
  if (!HoldsUnsafeValue(*evidence) && Statement::Execute(sql)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Insert evidence failed, sql[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlDeleteValues[] = "UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE evidence_id = %d;";
constexpr char kSqlReplaceValue[] =
    "INSERT INTO evidence.evidence_custom_info (ID, evidence_id,custom_id,option_id, option_text, deleted)VALUES (%d, "
    "%d, %d,%d, '%s',%d);";

bool CEvidenceMgrDBByPG::UpdateEvidenceCustomInfo(const EvidencePtr& evidence) {
  if (!evidence) return Fail(kBadInput);
  const std::string sqls = Format(kSqlDeleteValues, evidence->id) + ValueTexts<kSqlReplaceValue>(*this, *evidence);
  if (!HoldsUnsafeValue(*evidence) && Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update evidence custom failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

bool CEvidenceMgrDBByPG::DeleteEvidenceCustomInfo(const IdList& evidence_ids) {
  std::string sqls;
  for (const std::int32_t id : evidence_ids)
    sqls += Format(kSqlDeleteValues, id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences to DB failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlDeleteValuesOfCustom[] =
    "UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE custom_id = %d;";

bool CEvidenceMgrDBByPG::DeleteEvidenceCustomInfoByCustomID(const IdList& custom_ids) {
  std::string sqls;
  for (const std::int32_t id : custom_ids)
    sqls += Format(kSqlDeleteValuesOfCustom, id);
  // All evidences may have many values of the attribute, which is gone already.
  const platform::LongStatements long_statements;
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences to DB failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlAllValues[] = "SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0";

bool CEvidenceMgrDBByPG::GetEvidenceCustomInfo(std::map<std::int32_t, tag_EvidenceCustom_>& customs) {
  const bool done = Statement::Query(kSqlAllValues, [&customs](kelp::IDBResultSet* rows) {
    if (rows == nullptr) return MissingCursor();
    for (; !rows->IsEof(); rows->Next()) {
      tag_EvidenceCustom_ custom;
      custom.custom_id = rows->GetInt("custom_id");
      // This text is unused; it is the low byte of the text read as a number.
      const auto low_byte = static_cast<char>(static_cast<unsigned char>(rows->GetInt("option_text")));
      custom.custom_options.push_back({rows->GetInt("option_id"), std::string(1, low_byte)});
      customs.emplace(rows->GetInt("evidence_id"), std::move(custom));
    }
  });
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence custom info failed.[%s(%d)]");
  return Fail(kStatementFailed);
}

constexpr char kSqlValuesOfEvidences[] =
    "SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0 AND evidence_id IN (%s);";

bool CEvidenceMgrDBByPG::GetEvidenceCustomInfo(std::map<std::int32_t, std::vector<tag_EvidenceCustom_>>& customs,
                                               const IdVector& evidence_ids) {
  if (evidence_ids.empty()) {
    EVIDENCE_LOG(kLogAnomaly, "[%s]no evidecne custom info need.[%s(%d)]");  // sic
    return true;
  }
  const std::string sql = Format(kSqlValuesOfEvidences, CommaList(evidence_ids).c_str());
  const bool done = Statement::Query(sql, [&customs](kelp::IDBResultSet* rows) {
    if (rows == nullptr) return MissingCursor();
    for (; !rows->IsEof(); rows->Next())
      customs[rows->GetInt("evidence_id")].push_back(CustomOfRow(*rows));
  });
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence failed: [%s].\n[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlValuesOfEvidence[] =
    "SELECT * FROM evidence.evidence_custom_info WHERE evidence_id = %d AND deleted = 0";

bool CEvidenceMgrDBByPG::GetEvidenceCustomByID(std::list<EvidenceCustomPtr>& customs, std::int32_t evidence_id) {
  const bool done = Statement::Query(Format(kSqlValuesOfEvidence, evidence_id), [&customs](kelp::IDBResultSet* rows) {
    if (rows == nullptr) return MissingCursor();
    for (; !rows->IsEof(); rows->Next())
      customs.push_back(std::make_shared<tag_EvidenceCustom_>(CustomOfRow(*rows)));
  });
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence failed, id[%d].[%s(%d)]", evidence_id);
  return Fail(kStatementFailed);
}

}  // namespace Evidence
