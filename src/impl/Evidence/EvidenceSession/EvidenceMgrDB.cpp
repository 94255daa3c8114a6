#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/NewRecord.h"
#include "OrvBase/TimeUtil.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Orv::Base::Error::SetLastError;

constexpr char kSqlNextValue[] = "SELECT NEXTVAL('%s')";

std::int32_t CEvidenceMgrDBByPG::QueryLastSeqID(const std::string& sequence) {
  std::int32_t value = -1;
  const std::string sql = Statement::Format(kSqlNextValue, sequence.c_str());
  const bool done = Statement::Query(sql, [&value](kelp::IDBResultSet* rows) {
    if (rows == nullptr || rows->IsEof()) {
      SetLastError({0, kStatementFailed});
      EVIDENCE_LOG(kLogFailure, "[%s]Query last swq id failed.[%s(%d)]");  // sic
      return;
    }
    value = rows->GetIntByIndex(0);
  });
  if (!done) {
    SetLastError({0, kStatementFailed});
    EVIDENCE_LOG(kLogFailure, "[%s]Query last seq id failed, do sql failed.[%s(%d)]");
    return -1;
  }
  return value;
}

std::int32_t CEvidenceMgrDBByPG::QueryEvidenceSeqID() { return QueryLastSeqID("evidence.evidence_id_seq"); }

std::int32_t CEvidenceMgrDBByPG::QueryEvidenceFileSeqID() { return QueryLastSeqID("evidence.evidence_file_id_seq"); }

std::int32_t CEvidenceMgrDBByPG::QueryEvidenceTypeSeqID() { return QueryLastSeqID("evidence.evidence_type_id_seq"); }

std::int32_t CEvidenceMgrDBByPG::QueryEvidenceSceneSeqID() {
  return QueryLastSeqID("evidence.evidence_scense_id_seq");  // sic
}

std::int32_t CEvidenceMgrDBByPG::QueryEvidenceOutcomeSeqID() {
  return QueryLastSeqID("evidence.evidence_outcome_id_seq");
}

std::int32_t CEvidenceMgrDBByPG::QueryEvidenceCustomSeqID() {
  return QueryLastSeqID("evidence.evidence_custom_id_seq");
}

std::int32_t CEvidenceMgrDBByPG::QueryEvidenceCustomInfoSeqID() {
  return QueryLastSeqID("evidence.evidence_custom_info_id_seq");
}

std::int32_t CEvidenceMgrDBByPG::QueryEvidenceOptionSeqID() {
  return QueryLastSeqID("evidence.evidence_option_id_seq");
}

bool CEvidenceMgrDBByPG::ConvertToEvidenceStruct(EvidencePtr& evidence, const kelp::IDBResultSet* row) {
  if (row == nullptr) return Fail(kStatementFailed);
  evidence = NewRecord<_tag_Evidence_>();
  if (!evidence) return Fail(kObjectMissing);
  evidence->id = row->GetInt("ID");
  evidence->guid = row->GetString("guid");
  evidence->name = row->GetString("name");
  evidence->evidence_type.type_id = row->GetInt("evidence_type_id");
  evidence->scene.scene_id = row->GetInt("scene_id");
  evidence->outcome.outcome_id = row->GetInt("outcome_id");
  evidence->evidence_desc = row->GetString("evidence_desc");
  evidence->evidence_status = row->GetInt("evidence_status");
  evidence->create_user.id = row->GetInt("evidence_create_user_id");
  evidence->create_user.name = row->GetString("evidence_create_user_name");
  const int offset_minutes = row->GetInt("create_time_offset");
  evidence->create_time =
      Orv::Base::TimeUtil::LocalTime2TimeStrISO(row->GetString("local_create_time"), offset_minutes);
  evidence->label = row->GetString("label");
  evidence->evidence_begin_time = row->GetString("evidence_begin_time");
  evidence->evidence_end_time = row->GetString("evidence_end_time");
  evidence->add_mode = row->GetInt("add_mode");
  evidence->upload_mode = row->GetInt("upload_mode");
  evidence->upload_begin_time = row->GetString("upload_begin_time");
  evidence->upload_end_time = row->GetString("upload_end_time");
  evidence->record_begin_time = row->GetString("record_begin_time");
  evidence->record_end_time = row->GetString("record_end_time");
  evidence->releated_camera_ids = row->GetString("releated_camera_ids");
  evidence->upload_status = row->GetInt("upload_status");
  evidence->succeed_camera_ids = row->GetString("succeed_camera_ids");
  evidence->cad_id = row->GetString("cad_id");
  return true;
}

void CEvidenceMgrDBByPG::ReadEvidenceRows(std::list<EvidencePtr>& evidences, kelp::IDBResultSet* rows,
                                          Operation operation) {
  for (; rows != nullptr && !rows->IsEof(); rows->Next()) {
    EvidencePtr evidence;
    if (ConvertToEvidenceStruct(evidence, rows)) {
      evidences.push_back(std::move(evidence));
    } else {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]ConvertToEvidenceStruct failed.[%s(%d)]");
    }
  }
}

CEvidenceMgrDBByPG::SingleRow CEvidenceMgrDBByPG::ReadSingleEvidence(EvidencePtr& evidence,
                                                                     const kelp::IDBResultSet* rows,
                                                                     Operation operation) {
  if (rows == nullptr) {
    SetLastError({0, kStatementFailed});
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Query ftp settings failed.[%s(%d)]");  // sic
    return SingleRow::kNoCursor;
  }
  if (rows->IsEof()) return SingleRow::kNone;
  if (ConvertToEvidenceStruct(evidence, rows)) return SingleRow::kRead;
  SetLastError({0, kEvidenceNotFound});
  return SingleRow::kNotConverted;
}

}  // namespace Evidence
