// Scenes and outcomes: one set of functions over the statements and log texts of each dictionary.

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Statement::Escaped;
using Statement::Format;

namespace {

struct SceneWords {
  using Record = tag_EvidenceScene_;
  static constexpr auto kId = &Record::scene_id;
  static constexpr char kSqlReadAll[] = "SELECT * FROM evidence.evidence_scense WHERE deleted = 0;";
  static constexpr char kSqlInsert[] =
      "INSERT INTO evidence.evidence_scense (ID, name, create_time, deleted) VALUES (%d, '%s', '%s', %d);";
  static constexpr char kSqlUpdate[] =
      "UPDATE evidence.evidence_scense SET name = '%s', update_time = '%s' WHERE id = %d;";
  static constexpr char kSqlDelete[] = "UPDATE evidence.evidence_scense SET deleted = 1 WHERE id = %d;";
  static constexpr char kSqlById[] = "SELECT * FROM evidence.evidence_scense WHERE ID = %d";
  static constexpr char kReadFailed[] = "[%s]Read all evidence scene failed.[%s(%d)]";
  static constexpr char kInsertFailed[] = "[%s]Insert evidence scene failed, sqls[%s].[%s(%d)]";
  static constexpr char kUpdateFailed[] = "[%s]Update evidence scene failed, sqls[%s].[%s(%d)]";
  static constexpr char kDeleteFailed[] = "[%s]Delete evidence scene failed, sqls[%s].[%s(%d)]";
  static constexpr char kGetFailed[] = "[%s]Get evidence scene failed, id[%d].[%s(%d)]";
};

struct OutcomeWords {
  using Record = tag_EvidenceOutcome_;
  static constexpr auto kId = &Record::outcome_id;
  static constexpr char kSqlReadAll[] = "SELECT * FROM evidence.evidence_outcome WHERE deleted = 0;";
  static constexpr char kSqlInsert[] =
      "INSERT INTO evidence.evidence_outcome (ID, name, create_time, deleted) VALUES (%d, '%s', '%s', %d);";
  static constexpr char kSqlUpdate[] =
      "UPDATE evidence.evidence_outcome SET name = '%s', update_time = '%s' WHERE id = %d;";
  static constexpr char kSqlDelete[] = "UPDATE evidence.evidence_outcome SET deleted = 1 WHERE id = %d;";
  static constexpr char kSqlById[] = "SELECT * FROM evidence.evidence_outcome WHERE ID = %d";
  static constexpr char kReadFailed[] = "[%s]Read all evidence outcome failed.[%s(%d)]";
  static constexpr char kInsertFailed[] = "[%s]Insert evidence outcome failed, sqls[%s].[%s(%d)]";
  static constexpr char kUpdateFailed[] = "[%s]Update evidence outcome failed, sqls[%s].[%s(%d)]";
  static constexpr char kDeleteFailed[] = "[%s]Delete evidence outcome failed, sqls[%s].[%s(%d)]";
  static constexpr char kGetFailed[] = "[%s]Get evidence outcome failed, id[%d].[%s(%d)]";
};

template <class Words>
using Entries = std::list<std::shared_ptr<typename Words::Record>>;

template <class Words>
bool ReadAll(Entries<Words>& entries, Operation operation = Operation::current()) {
  const bool done = Statement::Query(Words::kSqlReadAll, Statement::EachRow([&entries](const kelp::IDBResultSet& row) {
                                       auto entry = std::make_shared<typename Words::Record>();
                                       (*entry).*Words::kId = row.GetInt("ID");
                                       entry->type_name = row.GetString("name");
                                       entries.push_back(std::move(entry));
                                     }));
  if (done) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, Words::kReadFailed);
  return Fail(kStatementFailed);
}

template <class Words>
bool Insert(const Entries<Words>& entries, Operation operation = Operation::current()) {
  const std::string now = Statement::UtcStampNow();
  std::string sqls;
  for (const auto& entry : entries) {
    sqls += Format(Words::kSqlInsert, (*entry).*Words::kId, Escaped(entry->type_name).c_str(), now.c_str(), 0);
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, Words::kInsertFailed, sqls.c_str());
  return Fail(kStatementFailed);
}

template <class Words>
bool Update(const Entries<Words>& entries, Operation operation = Operation::current()) {
  const std::string now = Statement::UtcStampNow();
  std::string sqls;
  for (const auto& entry : entries) {
    sqls += Format(Words::kSqlUpdate, Escaped(entry->type_name).c_str(), now.c_str(), (*entry).*Words::kId);
  }
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, Words::kUpdateFailed, sqls.c_str());
  return Fail(kStatementFailed);
}

template <class Words>
bool Delete(const IdList& ids, Operation operation = Operation::current()) {
  std::string sqls;
  for (const std::int32_t id : ids)
    sqls += Format(Words::kSqlDelete, id);
  if (Statement::Execute(sqls)) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, Words::kDeleteFailed, sqls.c_str());
  return Fail(kStatementFailed);
}

template <class Words>
bool NameById(std::string& name, std::int32_t id, Operation operation = Operation::current()) {
  name.clear();
  const bool done = Statement::Query(Format(Words::kSqlById, id), [&name](const kelp::IDBResultSet* rows) {
    if (rows != nullptr && !rows->IsEof()) name = rows->GetString("name");
  });
  if (done) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, Words::kGetFailed, id);
  return Fail(kStatementFailed);
}

}  // namespace

bool CEvidenceMgrDBByPG::ReadAllEvidenceScenes(std::list<EvidenceScenePtr>& scenes) {
  return ReadAll<SceneWords>(scenes);
}

bool CEvidenceMgrDBByPG::InsertEvidenceScenes(const std::list<EvidenceScenePtr>& scenes) {
  return Insert<SceneWords>(scenes);
}

bool CEvidenceMgrDBByPG::UpdateEvidenceScenes(const std::list<EvidenceScenePtr>& scenes) {
  return Update<SceneWords>(scenes);
}

bool CEvidenceMgrDBByPG::DeleteEvidenceScenes(const IdList& scene_ids) { return Delete<SceneWords>(scene_ids); }

bool CEvidenceMgrDBByPG::QueryEvidenceSceneNameById(std::string& name, std::int32_t scene_id) {
  return NameById<SceneWords>(name, scene_id);
}

bool CEvidenceMgrDBByPG::ReadAllEvidenceOutcomes(std::list<EvidenceOutcomePtr>& outcomes) {
  return ReadAll<OutcomeWords>(outcomes);
}

bool CEvidenceMgrDBByPG::InsertEvidenceOutcomes(const std::list<EvidenceOutcomePtr>& outcomes) {
  return Insert<OutcomeWords>(outcomes);
}

bool CEvidenceMgrDBByPG::UpdateEvidenceOutcomes(const std::list<EvidenceOutcomePtr>& outcomes) {
  return Update<OutcomeWords>(outcomes);
}

bool CEvidenceMgrDBByPG::DeleteEvidenceOutcomes(const IdList& outcome_ids) { return Delete<OutcomeWords>(outcome_ids); }

bool CEvidenceMgrDBByPG::QueryEvidenceOutcomeNameById(std::string& name, std::int32_t outcome_id) {
  return NameById<OutcomeWords>(name, outcome_id);
}

}  // namespace Evidence
