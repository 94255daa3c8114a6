#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Statement::Escaped;
using Statement::Format;

constexpr char kSqlReadAllCustoms[] = "SELECT * FROM evidence.evidence_custom WHERE deleted = 0;";

bool CEvidenceMgrDBByPG::ReadAllEvidenceCustoms(std::list<EvidenceCustomPtr>& customs) {
  const bool done = Statement::Query(kSqlReadAllCustoms, Statement::EachRow([&customs](const kelp::IDBResultSet& row) {
                                       auto custom = std::make_shared<tag_EvidenceCustom_>();
                                       custom->custom_id = row.GetInt("ID");
                                       custom->custom_name = row.GetString("name");
                                       custom->custom_type = row.GetInt("types");
                                       customs.push_back(std::move(custom));
                                     }));
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Read all evidence outcome failed.[%s(%d)]");  // sic
  return Fail(kStatementFailed);
}

constexpr char kSqlInsertCustom[] =
    "INSERT INTO evidence.evidence_custom (ID, name,types,create_time, deleted) VALUES (%d, '%s',%d,'%s',%d);";

bool CEvidenceMgrDBByPG::InsertEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) {
  const std::string now = Statement::UtcStampNow();
  std::string sqls;
  for (const auto& custom : customs) {
    sqls += Format(kSqlInsertCustom, custom->custom_id, Escaped(custom->custom_name).c_str(), custom->custom_type,
                   now.c_str(), 0);
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Insert evidence custom failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlUpdateCustom[] =
    "UPDATE evidence.evidence_custom SET name = '%s', types = %d , update_time = '%s' WHERE id = %d;";

bool CEvidenceMgrDBByPG::UpdateEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) {
  const std::string now = Statement::UtcStampNow();
  std::string sqls;
  for (const auto& custom : customs) {
    sqls += Format(kSqlUpdateCustom, Escaped(custom->custom_name).c_str(), custom->custom_type, now.c_str(),
                   custom->custom_id);
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update evidence custom failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlDeleteCustom[] = "UPDATE evidence.evidence_custom SET deleted = 1 WHERE id = %d;";

bool CEvidenceMgrDBByPG::DeleteEvidenceCustoms(const IdList& custom_ids) {
  std::string sqls;
  for (const std::int32_t id : custom_ids)
    sqls += Format(kSqlDeleteCustom, id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidence custom failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlCustomById[] = "SELECT * FROM evidence.evidence_custom WHERE ID = %d";

bool CEvidenceMgrDBByPG::QueryEvidenceCustomNameById(std::string& name, std::int32_t custom_id) {
  name.clear();
  const bool done = Statement::Query(Format(kSqlCustomById, custom_id), [&name](const kelp::IDBResultSet* rows) {
    if (rows != nullptr && !rows->IsEof()) name = rows->GetString("name");
  });
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence custom failed, id[%d].[%s(%d)]", custom_id);
  return Fail(kStatementFailed);
}

}  // namespace Evidence
