#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Statement::Escaped;
using Statement::Format;

constexpr char kSqlReadAllTypes[] = "SELECT * FROM evidence.evidence_type WHERE deleted = 0;";

bool CEvidenceMgrDBByPG::ReadAllEvidenceTypes(std::list<EvidenceTypePtr>& types) {
  const bool done = Statement::Query(kSqlReadAllTypes, Statement::EachRow([&types](const kelp::IDBResultSet& row) {
                                       auto type = std::make_shared<_tag_EvidenceType_>();
                                       type->type_id = row.GetInt("ID");
                                       type->type_name = row.GetString("name");
                                       types.push_back(std::move(type));
                                     }));
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Read all evidences from DB failed, sql[%s].[%s(%d)]", kSqlReadAllTypes);
  return Fail(kStatementFailed);
}

constexpr char kSqlInsertType[] =
    "INSERT INTO evidence.evidence_type (ID, name, create_time, deleted) VALUES (%d, '%s', '%s', %d);";

bool CEvidenceMgrDBByPG::InsertEvidenceTypes(const std::list<EvidenceTypePtr>& types) {
  const std::string now = Statement::UtcStampNow();
  std::string sqls;
  for (const auto& type : types) {
    sqls += Format(kSqlInsertType, type->type_id, Escaped(type->type_name).c_str(), now.c_str(), 0);
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Insert evidence type failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlUpdateType[] = "UPDATE evidence.evidence_type SET name = '%s', update_time = '%s' WHERE id = %d;";

bool CEvidenceMgrDBByPG::UpdateEvidenceTypes(const std::list<EvidenceTypePtr>& types) {
  const std::string now = Statement::UtcStampNow();
  std::string sqls;
  for (const auto& type : types) {
    sqls += Format(kSqlUpdateType, Escaped(type->type_name).c_str(), now.c_str(), type->type_id);
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update evidence type failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlDeleteType[] = "UPDATE evidence.evidence_type SET deleted = 1 WHERE id = %d;";

bool CEvidenceMgrDBByPG::DeleteEvidenceTypes(const std::list<std::int32_t>& type_ids) {
  std::string sqls;
  for (const std::int32_t id : type_ids)
    sqls += Format(kSqlDeleteType, id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Delete evidence type failed, sqls[%s].[%s(%d)]", sqls.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlTypeById[] = "SELECT * FROM evidence.evidence_type WHERE ID = %d";

bool CEvidenceMgrDBByPG::QueryEvidenceTypeNameById(std::string& name, std::int32_t type_id) {
  name.clear();
  const bool done = Statement::Query(Format(kSqlTypeById, type_id), [&name](const kelp::IDBResultSet* rows) {
    if (rows != nullptr && !rows->IsEof()) name = rows->GetString("name");
  });
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence type failed, id[%d].[%s(%d)]", type_id);
  return Fail(kStatementFailed);
}

}  // namespace Evidence
