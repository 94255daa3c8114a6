#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "OrvBase/TimeUtil.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/EvidenceQueryText.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {
namespace {

bool IsNoPage(std::int32_t value) { return value == 0 || value == -1; }

}  // namespace

bool CEvidenceMgrDBByPG::QueryEvidences(std::list<EvidencePtr>& evidences, page_info& page, bool& has_more,
                                        const EvidenceFilterPtr& filter) {
  if (!filter) return Fail(kObjectMissing);
  const long long begin = Orv::Base::TimeUtil::StrUTCTimeStamp2TimeT(filter->create_start_time);
  const long long end = Orv::Base::TimeUtil::StrUTCTimeStamp2TimeT(filter->create_end_time);
  const bool is_range = !filter->create_start_time.empty() && !filter->create_end_time.empty();
  if (IsNoPage(page.PageIndex) || IsNoPage(page.PageSize) || (is_range && begin > end) || filter->status < -1 ||
      filter->status > 1 || HoldsUnsafeTime(*filter)) {
    EVIDENCE_LOG(kLogFailure,
                 "[%s]Input param error, page-index[%d], page-size[%d], begin-time[%s], end-time[%s], "
                 "begin-time-t[%lld], end-time-t[%lld], status[%d], keyword[%s], keyword-type[%d].[%s(%d)]",
                 page.PageIndex, page.PageSize, filter->create_start_time.c_str(), filter->create_end_time.c_str(),
                 begin, end, filter->status, filter->keyword.c_str(), filter->keyword_type);
    return Fail(kBadInput);
  }

  const EvidenceQueryText sql = BuildEvidenceQuery(*filter, page);
  EVIDENCE_LOG(kLogTrace, "[%s]begin get count, sql: [%s].[%s(%d)]", sql.count.c_str());
  const bool counted = Statement::Query(sql.count, [&page](const kelp::IDBResultSet* rows) {
    if (rows != nullptr && !rows->IsEof()) page.total = rows->GetInt("count");
  });
  if (!counted) {
    EVIDENCE_LOG(kLogFailure, "[%s]Query evidences failed, sql[%s].[%s(%d)]", sql.count.c_str());
    return Fail(kStatementFailed);
  }
  EVIDENCE_LOG(kLogTrace, "[%s]end get count.[%s(%d)]");
  EVIDENCE_LOG(kLogTrace, "[%s]Query evidences start , sql[%s].[%s(%d)]", sql.page.c_str());
  const bool read =
      Statement::Query(sql.page, [&evidences](kelp::IDBResultSet* rows) { ReadEvidenceRows(evidences, rows); });
  if (!read) {
    EVIDENCE_LOG(kLogFailure, "[%s]Query evidences failed, sql[%s].[%s(%d)]", sql.page.c_str());
    return Fail(kStatementFailed);
  }
  EVIDENCE_LOG(kLogTrace, "[%s]Query evidences end, sql[%s].[%s(%d)]", sql.page.c_str());
  has_more = static_cast<std::int64_t>(evidences.size()) == std::int64_t{page.PageSize} + 1;
  if (has_more) evidences.pop_back();
  page.PageSize = static_cast<std::int32_t>(evidences.size());
  return true;
}

}  // namespace Evidence
