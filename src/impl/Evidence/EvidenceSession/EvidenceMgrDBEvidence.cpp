#include <ctime>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/NewRecord.h"
#include "Common/TextList.h"
#include "OrvBase/StringUtil.h"
#include "OrvBase/TimeUtil.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"
#include "platform/LongStatements.h"

namespace Evidence {

using Orv::Base::StringUtil::kCodePageUtf8;
using Orv::Base::StringUtil::str_len;
using Orv::Base::TimeUtil::TimeT2StrUTCTimeStamp;
using Statement::Escaped;
using Statement::Format;

constexpr char kSqlInsertEvidence[] =
    "INSERT INTO evidence.evidence (ID, guid, name, evidence_type_id, scene_id, outcome_id, evidence_desc, "
    "evidence_status, evidence_create_user_id, evidence_create_user_name, create_time_offset, create_time, "
    "local_create_time, update_time_offset, update_time, local_update_time, deleted, label, add_mode, upload_mode, "
    "upload_begin_time, upload_end_time, record_begin_time, record_end_time, releated_camera_ids, evidence_begin_time, "
    "evidence_end_time, cad_id) VALUES (%d, '%s', '%s', %d, %d, %d, '%s', %d, %d, '%s', %d, '%s', '%s', %d, '%s', "
    "'%s', %d, '%s', %d, %d, '%s', '%s', '%s', '%s', '%s', '%s', '%s','%s')";

bool CEvidenceMgrDBByPG::InsertEvidence(const EvidencePtr& evidence) {
  if (!evidence) return Fail(kBadInput);
  const auto& e = *evidence;
  const std::time_t now = std::time(nullptr);
  const std::string utc = Escaped(TimeT2StrUTCTimeStamp(now));
  const auto local = Statement::LocalTimeOf(now);
  const std::string sql = Format(
      kSqlInsertEvidence, e.id, Escaped(e.guid).c_str(), Escaped(e.name).c_str(), e.evidence_type.type_id,
      e.scene.scene_id, e.outcome.outcome_id, Escaped(e.evidence_desc).c_str(), e.evidence_status, e.create_user.id,
      Escaped(e.create_user.name).c_str(), local.offset_minutes, utc.c_str(), local.text.c_str(), local.offset_minutes,
      utc.c_str(), local.text.c_str(), 0, Escaped(e.label).c_str(), e.add_mode, e.upload_mode,
      Escaped(e.upload_begin_time).c_str(), Escaped(e.upload_end_time).c_str(), Escaped(e.record_begin_time).c_str(),
      Escaped(e.record_end_time).c_str(), Escaped(e.releated_camera_ids).c_str(),
      Escaped(e.evidence_begin_time).c_str(), Escaped(e.evidence_end_time).c_str(), Escaped(e.cad_id).c_str());
  if (Statement::Execute(sql)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Insert evidence failed, sql[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlUpdateEvidence[] =
    "UPDATE evidence.evidence SET guid = '%s', name = '%s', evidence_type_id = %d, scene_id = %d, outcome_id = %d, "
    "evidence_desc = '%s', evidence_status = %d, update_time_offset = %d, update_time = '%s', local_update_time = '%s' "
    ",label = '%s' ,evidence_begin_time = '%s' ,evidence_end_time = '%s', cad_id = '%s' WHERE id = %d;";

bool CEvidenceMgrDBByPG::UpdateEvidence(const EvidencePtr& evidence) {
  if (!evidence) return Fail(kBadInput);
  const auto& e = *evidence;
  const std::time_t now = std::time(nullptr);
  const std::string utc = Escaped(TimeT2StrUTCTimeStamp(now));
  const auto local = Statement::LocalTimeOf(now);
  const std::string sql = Format(kSqlUpdateEvidence, Escaped(e.guid).c_str(), Escaped(e.name).c_str(),
                                 e.evidence_type.type_id, e.scene.scene_id, e.outcome.outcome_id,
                                 Escaped(e.evidence_desc).c_str(), e.evidence_status, local.offset_minutes, utc.c_str(),
                                 local.text.c_str(), Escaped(e.label).c_str(), Escaped(e.evidence_begin_time).c_str(),
                                 Escaped(e.evidence_end_time).c_str(), Escaped(e.cad_id).c_str(), e.id);
  if (Statement::Execute(sql)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update evidence failed, sql[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlDeleteEvidence[] = "UPDATE evidence.evidence SET deleted = 1 WHERE id = %d;";

bool CEvidenceMgrDBByPG::DeleteEvidences(const IdList& evidence_ids) {
  std::string sqls;
  for (const std::int32_t id : evidence_ids)
    sqls += Format(kSqlDeleteEvidence, id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences to DB failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlClearTypeInEvidence[] =
    "UPDATE evidence.evidence SET evidence_type_id = -1, update_time = '%s', local_update_time = '%s' WHERE deleted = "
    "0 AND evidence_type_id IN (%s);";

bool CEvidenceMgrDBByPG::DeleteEvidenceTypeInEvidence(const IdVector& type_ids) {
  if (type_ids.empty()) return true;
  const std::time_t now = std::time(nullptr);
  const std::string utc = Escaped(TimeT2StrUTCTimeStamp(now));
  const std::string sql = Format(kSqlClearTypeInEvidence, utc.c_str(), Statement::LocalTimeOf(now).text.c_str(),
                                 CommaList(type_ids).c_str());
  // A row goes into every index again, and all evidences may have the type, which is gone already.
  const platform::LongStatements long_statements;
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
  const bool done = Statement::Query(Format(kSqlEvidenceById, evidence_id), [&](kelp::IDBResultSet* rows) {
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
  const std::string sql = Format(kSqlEvidenceByGuid, Escaped(guid).c_str());
  const bool done = Statement::Query(sql, [&](kelp::IDBResultSet* rows) {
    if (ReadSingleEvidence(evidence, rows) == SingleRow::kNotConverted) {
      EVIDENCE_LOG(kLogFailure, "[%s]The evidence not exists, evidence-guid[%s].[%s(%d)]", guid.c_str());
    }
  });
  if (done) return evidence != nullptr;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence failed, evidence-guid[%s].[%s(%d)]", guid.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlEvidencesByIds[] = "SELECT ID, name FROM evidence.evidence WHERE deleted = 0 AND  ID in (%s);";

bool CEvidenceMgrDBByPG::GetEvidenceByIDs(std::list<EvidencePtr>& evidences, const IdList& evidence_ids) {
  if (evidence_ids.empty()) return true;
  const std::string sql = Format(kSqlEvidencesByIds, CommaList(evidence_ids).c_str());
  const bool done = Statement::Query(sql, Statement::EachRow([&evidences](const kelp::IDBResultSet& row) {
                                       auto evidence = NewRecord<_tag_Evidence_>();
                                       if (!evidence) return;
                                       evidence->id = row.GetInt("ID");
                                       evidence->name = row.GetString("name");
                                       evidences.push_back(std::move(evidence));
                                     }));
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Read ids evidences from DB failed, sql[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlCountEvidences[] = "SELECT count(*) FROM evidence.evidence WHERE deleted = 0 ";

bool CEvidenceMgrDBByPG::GetEvidencesCount(std::int32_t& count) {
  count = 0;
  if (Statement::Query(kSqlCountEvidences, Statement::FirstNumber(count))) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence count failed.[%s(%d)]");
  return Fail(kStatementFailed);
}

constexpr char kSqlLabels[] = "SELECT label FROM evidence.evidence WHERE deleted = 0";

bool CEvidenceMgrDBByPG::GetEvidenceLabel(std::string& labels) {
  EVIDENCE_LOG(kLogProgress, "[%s]Get evidence label before[%s(%d)]");
  const bool done = Statement::Query(kSqlLabels, Statement::EachRow([&labels](const kelp::IDBResultSet& row) {
                                       const std::string label = row.GetString("label");
                                       if (!label.empty()) labels += label + "|";
                                     }));
  // A mark in the log, not a failure.
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence label after[%s(%d)]");
  if (!done) {
    EVIDENCE_LOG(kLogFailure, "[%s]Get evidence label failed[%s(%d)]");
    return Fail(kStatementFailed);
  }
  // A shorter text keeps its separator.
  if (str_len(labels, kCodePageUtf8) >= 3) labels.pop_back();
  return true;
}

constexpr char kSqlUploadStatus[] = "UPDATE evidence.evidence SET upload_status = %d WHERE ID = %d";

bool CEvidenceMgrDBByPG::UpdateCameraUploadStatus(std::int32_t evidence_id, std::int32_t status) {
  const std::string sql = Format(kSqlUploadStatus, status, evidence_id);
  if (Statement::Execute(sql)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update evidence failed, sql[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlUploadedCameras[] = "UPDATE evidence.evidence SET succeed_camera_ids = '%s' WHERE ID = %d";

bool CEvidenceMgrDBByPG::UpdateCameraUploadSuccList(std::int32_t evidence_id, const std::string& camera_ids) {
  const std::string sql = Format(kSqlUploadedCameras, platform::SqlText::Unescaped(camera_ids).c_str(), evidence_id);
  if (!Statement::EndsLiteral(camera_ids) && Statement::Execute(sql)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update evidence failed, sql[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

}  // namespace Evidence
