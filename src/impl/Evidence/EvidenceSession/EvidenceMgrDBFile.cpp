#include <ctime>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Statement::Escaped;
using Statement::Format;

constexpr char kSqlInsertFile[] =
    "INSERT INTO evidence.evidence_file (ID, file_type, file_name, file_path, begin_time, end_time, time_offset, "
    "evidence_id, guid, digest, deleted) VALUES (%d, %d, '%s', '%s', '%s', '%s',  %d, %d, '%s', '%s', %d);";

// Both times are the time of writing, so that files are listed in the order of writing.
bool CEvidenceMgrDBByPG::InsertEvidenceFiles(const std::list<EvidenceFilePtr>& files) {
  const auto now = Statement::LocalTimeOf(std::time(nullptr));
  std::string sqls;
  for (const auto& file : files) {
    sqls += Format(kSqlInsertFile, file->id, file->file_type, Escaped(file->file_name).c_str(),
                   Escaped(file->file_path).c_str(), now.text.c_str(), now.text.c_str(), now.offset_minutes,
                   file->evidence_id, Escaped(file->guid).c_str(), Escaped(file->digest).c_str(), 0);
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Insert evidence file failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlUpdateFile[] =
    "UPDATE evidence.evidence_file SET file_type = %d, file_name = '%s', file_path = '%s', begin_time = '%s', end_time "
    "= '%s', time_offset = %d , evidence_id = %d, guid = '%s',digest = '%s' WHERE id = %d;";

bool CEvidenceMgrDBByPG::UpdateEvidenceFiles(const std::list<EvidenceFilePtr>& files) {
  const auto now = Statement::LocalTimeOf(std::time(nullptr));
  std::string sqls;
  for (const auto& file : files) {
    sqls += Format(kSqlUpdateFile, file->file_type, Escaped(file->file_name).c_str(), Escaped(file->file_path).c_str(),
                   now.text.c_str(), now.text.c_str(), now.offset_minutes, file->evidence_id,
                   Escaped(file->guid).c_str(), Escaped(file->digest).c_str(), file->id);
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update evidence file failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlUnlinkFile[] = "UPDATE evidence.evidence_file SET deleted = 1 WHERE id = %d AND evidence_id = %d;";

bool CEvidenceMgrDBByPG::UpdateEvidenceFiles(const IdVector& file_ids, std::int32_t evidence_id) {
  if (file_ids.empty() || evidence_id == -1) return true;
  std::string sqls;
  for (const std::int32_t id : file_ids)
    sqls += Format(kSqlUnlinkFile, id, evidence_id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidence file failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlDeleteFile[] = "UPDATE evidence.evidence_file SET deleted = 1 WHERE id = %d;";

bool CEvidenceMgrDBByPG::DeleteEvidenceFiles(const IdList& file_ids) {
  std::string sqls;
  for (const std::int32_t id : file_ids)
    sqls += Format(kSqlDeleteFile, id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidence file failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlFileDigest[] = "UPDATE evidence.evidence_file SET digest = '%s' WHERE id = %d;";

bool CEvidenceMgrDBByPG::ModiyfEvidenceFileDigest(const std::map<std::int32_t, std::string>& digests) {  // sic
  std::string sqls;
  for (const auto& [id, digest] : digests)
    sqls += Format(kSqlFileDigest, Escaped(digest).c_str(), id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Modify evidence file digest failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlDeleteFilesOfEvidence[] = "UPDATE evidence.evidence_file SET deleted = 1 WHERE evidence_id = %d;";

bool CEvidenceMgrDBByPG::DeleteEvidenceFilesByEvidenceId(std::int32_t evidence_id) {
  const std::string sql = Format(kSqlDeleteFilesOfEvidence, evidence_id);
  if (Statement::Execute(sql)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidence file failed, sql[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

}  // namespace Evidence
