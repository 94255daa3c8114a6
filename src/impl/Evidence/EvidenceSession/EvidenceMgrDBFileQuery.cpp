#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/TextList.h"
#include "OrvBase/TimeUtil.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Orv::Base::TimeUtil::LocalTime2TimeStrISO;
using Statement::Escaped;
using Statement::Format;

namespace {

/// `file_type` of a filter that means the list in `assemble_types`.
constexpr std::int32_t kAssembledTypes = 8;
/// File types that are always counted, from 1.
constexpr std::int32_t kCountedTypes = 8;

EvidenceFilePtr FileOfRow(const kelp::IDBResultSet& row) {
  auto file = std::make_shared<_tag_EvidenceFile_>();
  file->id = row.GetInt("ID");
  file->file_type = row.GetInt("file_type");
  file->file_name = row.GetString("file_name");
  file->file_path = row.GetString("file_path");
  file->time_offset = row.GetInt("time_offset");
  file->begin_time = LocalTime2TimeStrISO(row.GetString("begin_time"), file->time_offset);
  file->end_time = LocalTime2TimeStrISO(row.GetString("end_time"), file->time_offset);
  file->evidence_id = row.GetInt("evidence_id");
  file->guid = row.GetString("guid");
  file->digest = row.GetString("digest");
  return file;
}

/// The common part of both statements of a query of unrelated files.
std::string UnrelatedFilesText(const _tag_EvidenceFilterInfo_& filter, std::time_t start, std::time_t end) {
  std::string text = "FROM evidence.evidence_file WHERE ";
  if (!filter.keyword.empty()) {
    text += Format("(file_name ilike '%%%s%%' )  AND ", Statement::EscapeLikeText(filter.keyword).c_str());
  }
  text += Format("evidence_id = %d  AND ", -1);
  if (filter.file_type != -1 && filter.file_type != kAssembledTypes) {
    text += Format("file_type = %d  AND ", filter.file_type);
  } else if (filter.file_type == kAssembledTypes && !filter.assemble_types.empty()) {
    text += Format("file_type IN (%s)  AND ", filter.assemble_types.c_str());
  }
  if (!filter.create_start_time.empty() && !filter.create_end_time.empty() && start >= 1 && end >= 1) {
    using Orv::Base::TimeUtil::TimeT2StrDatetime;
    text += Format("%s <= '%s' AND %s >= '%s'  AND ", "end_time", TimeT2StrDatetime(end).c_str(), "begin_time",
                   TimeT2StrDatetime(start).c_str());
  }
  return text + "deleted = 0 ";
}

}  // namespace

constexpr char kSqlFilesOfEvidences[] =
    "SELECT id, evidence_id FROM evidence.evidence_file WHERE evidence_id IN (%s) AND deleted = 0;";

bool CEvidenceMgrDBByPG::QueryEvidenceFiles(std::map<std::int32_t, std::list<EvidenceFilePtr>>& files,
                                            const IdVector& evidence_ids) {
  if (evidence_ids.empty()) return true;
  const std::string sql = Format(kSqlFilesOfEvidences, CommaList(evidence_ids).c_str());
  EVIDENCE_LOG(kLogTrace, "[%s]batch get evidence file begin, sql: [%s].[%s(%d)]", sql.c_str());
  const bool done = Statement::Query(sql, Statement::EachRow([&files](const kelp::IDBResultSet& row) {
                                       auto file = std::make_shared<_tag_EvidenceFile_>();
                                       file->id = row.GetInt("id");
                                       file->evidence_id = row.GetInt("evidence_id");
                                       files[file->evidence_id].push_back(std::move(file));
                                     }));
  if (!done) {
    EVIDENCE_LOG(kLogFailure, "[%s]batch get evidence file failed.[%s(%d)]");
    return Fail(kStatementFailed);
  }
  EVIDENCE_LOG(kLogTrace, "[%s]batch get evidence file end.[%s(%d)]");
  return true;
}

constexpr char kSqlFilesOfEvidence[] = "SELECT * FROM evidence.evidence_file WHERE evidence_id = %d AND deleted = 0 ";

bool CEvidenceMgrDBByPG::QueryEvidenceFiles(std::list<EvidenceFilePtr>& files, std::int32_t evidence_id,
                                            const std::string& file_name, const std::string& guid) {
  std::string sql = Format(kSqlFilesOfEvidence, evidence_id);
  if (!file_name.empty()) sql += Format(" AND file_name = '%s' ", Escaped(file_name).c_str());
  if (!guid.empty()) sql += Format(" AND guid = '%s' ", Escaped(guid).c_str());
  // Reads only which files match, not their fields.
  const bool done = Statement::Query(sql, Statement::EachRow([&files](const kelp::IDBResultSet& row) {
                                       files.push_back(std::make_shared<_tag_EvidenceFile_>());
                                       files.back()->id = row.GetInt("ID");
                                     }));
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence file failed, evidence-id[%d].[%s(%d)]", evidence_id);
  return Fail(kStatementFailed);
}

bool CEvidenceMgrDBByPG::QueryUnRelatedEvidenceFiles(std::list<EvidenceFilePtr>& files, const EvidenceFilterPtr& filter,
                                                     std::int32_t& count) {
  if (!filter) return Fail(kObjectMissing);
  const std::time_t start = Orv::Base::TimeUtil::ISODatetime2TimeT(filter->create_start_time);
  const std::time_t end = Orv::Base::TimeUtil::ISODatetime2TimeT(filter->create_end_time);
  const bool is_range = !filter->create_start_time.empty() && !filter->create_end_time.empty();
  const bool is_list = filter->assemble_types.find_first_not_of("0123456789, ") == std::string::npos;
  if ((is_range && start > end) || !is_list) return Fail(kBadInput);

  const std::string common = UnrelatedFilesText(*filter, start, end);
  const std::string count_sql = "SELECT count(*) " + common;
  if (!Statement::Query(count_sql, Statement::FirstNumber(count))) {
    EVIDENCE_LOG(kLogFailure, "[%s]Query evidences failed, sql[%s].[%s(%d)]", count_sql.c_str());
    return Fail(kStatementFailed);
  }
  const std::int64_t offset = (std::int64_t{filter->page_index} - 1) * filter->page_size;
  const std::string page_sql =
      "SELECT * " + common +
      Format("ORDER BY begin_time DESC limit %d offset %lld;", filter->page_size, static_cast<long long>(offset));
  const bool done = Statement::Query(
      page_sql, Statement::EachRow([&files](const kelp::IDBResultSet& row) { files.push_back(FileOfRow(row)); }));
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Query evidences failed, sql[%s].[%s(%d)]", page_sql.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlCountFiles[] = "SELECT count(*) FROM evidence.evidence_file WHERE evidence_id = %d AND deleted = 0 ";

bool CEvidenceMgrDBByPG::GetEvidenceFilesCount(std::int32_t& count, std::int32_t evidence_id) {
  count = 0;
  if (Statement::Query(Format(kSqlCountFiles, evidence_id), Statement::FirstNumber(count))) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence file count failed, evidence-id[%d].[%s(%d)]", evidence_id);
  return Fail(kStatementFailed);
}

constexpr char kSqlCountByType[] =
    "SELECT file_type, count(*) FROM evidence.evidence_file WHERE evidence_id = %d AND deleted = 0 GROUP BY file_type";

bool CEvidenceMgrDBByPG::QueryUnRelatedEvidenceFilesNum(std::map<std::int32_t, std::int32_t>& counts) {
  const bool done = Statement::Query(Format(kSqlCountByType, -1), Statement::EachRow([&counts](const auto& row) {
                                       counts[row.GetInt("file_type")] = row.GetInt("count");
                                     }));
  if (!done) {
    EVIDENCE_LOG(kLogFailure, "[%s]QueryUnRelatedEvidenceFilesNum failed.[%s(%d)]");
    return Fail(kStatementFailed);
  }
  for (std::int32_t type = 1; type <= kCountedTypes; ++type)
    counts.try_emplace(type, 0);
  return true;
}

constexpr char kSqlNamesByFileIds[] =
    "SELECT evidence_id, file_name FROM evidence.evidence_file WHERE deleted = 0 AND id IN (%s);";

bool CEvidenceMgrDBByPG::GetEvidenceIDAndFileNameByFileID(std::map<std::int32_t, std::list<std::string>>& file_names,
                                                          const IdVector& file_ids) {
  if (file_ids.empty()) return true;
  const std::string sql = Format(kSqlNamesByFileIds, CommaList(file_ids).c_str());
  const bool done = Statement::Query(sql, Statement::EachRow([&file_names](const kelp::IDBResultSet& row) {
                                       file_names[row.GetInt("evidence_id")].push_back(row.GetString("file_name"));
                                     }));
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]GetEvidenceIDByFileID failed, sqls[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

constexpr char kSqlFilesByIds[] =
    "SELECT ID, evidence_id, file_name FROM evidence.evidence_file WHERE deleted = 0 AND id IN (%s);";

bool CEvidenceMgrDBByPG::GetEvidenceFileByFileID(std::list<EvidenceFilePtr>& files, const IdVector& file_ids) {
  if (file_ids.empty()) return true;
  const std::string sql = Format(kSqlFilesByIds, CommaList(file_ids).c_str());
  const bool done = Statement::Query(sql, Statement::EachRow([&files](const kelp::IDBResultSet& row) {
                                       auto file = std::make_shared<_tag_EvidenceFile_>();
                                       file->id = row.GetInt("ID");
                                       file->evidence_id = row.GetInt("evidence_id");
                                       file->file_name = row.GetString("file_name");
                                       files.push_back(std::move(file));
                                     }));
  if (done) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]GetEvidenceIDByFileID failed, sqls[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

}  // namespace Evidence
