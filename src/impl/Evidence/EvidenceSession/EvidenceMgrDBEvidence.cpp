#include <ctime>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "OrvBase/StringUtil.h"
#include "OrvBase/TimeUtil.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Orv::Base::StringUtil::str_fmt;
using Statement::Quoted;

constexpr char kSqlClearTypeInEvidence[] =
    "UPDATE evidence.evidence SET evidence_type_id = -1, update_time = '%s', local_update_time = '%s' WHERE deleted = "
    "0 AND evidence_type_id IN (%s);";

bool CEvidenceMgrDBByPG::DeleteEvidenceTypeInEvidence(const std::vector<std::int32_t>& type_ids) {
  if (type_ids.empty()) return true;
  const std::time_t now = std::time(nullptr);
  int offset_minutes = 0;
  const std::string local = Orv::Base::TimeUtil::TimeT2LocalTime(now, offset_minutes);
  const std::string utc = Orv::Base::TimeUtil::TimeT2StrUTCTimeStamp(now);
  const std::string sql = str_fmt(kSqlClearTypeInEvidence, Quoted(utc).c_str(), Quoted(local).c_str(),
                                  Statement::CommaList(type_ids).c_str());
  if (Statement::Execute(sql)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update evidence failed, sql[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlAllEvidences[] = "SELECT * FROM evidence.evidence WHERE deleted = 0;";

bool CEvidenceMgrDBByPG::QueryAllEvidences(std::list<EvidencePtr>& evidences) {
  const bool done =
      Statement::Query(kSqlAllEvidences, [&evidences](kelp::IDBResultSet* rows) { ReadEvidenceRows(evidences, rows); });
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Read all evidences from DB failed, sql[%s].[%s(%d)]", kSqlAllEvidences);
  return Fail(kStatementFailed);
}

constexpr char kSqlEvidenceById[] = "SELECT * FROM evidence.evidence WHERE ID = %d AND deleted = 0";

bool CEvidenceMgrDBByPG::GetEvidenceByID(EvidencePtr& evidence, std::int32_t evidence_id) {
  evidence.reset();
  const bool done = Statement::Query(str_fmt(kSqlEvidenceById, evidence_id), [&](kelp::IDBResultSet* rows) {
    if (ReadSingleEvidence(evidence, rows) == SingleRow::kNotConverted) {
      EVIDENCE_LOG(kLogFailure, "[%s]The evidence not exists, evidence-id[%d].[%s(%d)]", evidence_id);
    }
  });
  if (done) return evidence != nullptr;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence failed, id[%d].[%s(%d)]", evidence_id);
  return Fail(kStatementFailed);
}

constexpr char kSqlEvidenceByGuid[] = "SELECT * FROM evidence.evidence WHERE guid = '%s' AND deleted = 0";

bool CEvidenceMgrDBByPG::GetEvidenceByGuid(EvidencePtr& evidence, const std::string& guid) {
  evidence.reset();
  const std::string sql = str_fmt(kSqlEvidenceByGuid, Quoted(guid).c_str());
  const bool done = Statement::Query(sql, [&](kelp::IDBResultSet* rows) {
    if (ReadSingleEvidence(evidence, rows) == SingleRow::kNotConverted) {
      EVIDENCE_LOG(kLogFailure, "[%s]The evidence not exists, evidence-guid[%s].[%s(%d)]", guid.c_str());
    }
  });
  if (done) return evidence != nullptr;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence failed, evidence-guid[%s].[%s(%d)]", guid.c_str());
  return Fail(kStatementFailed);
}

}  // namespace Evidence
