#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "OrvBase/StringUtil.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Orv::Base::StringUtil::str_fmt;

namespace {

constexpr char kSqlNextValue[] = "SELECT NEXTVAL('%s')";

}  // namespace

std::int32_t CEvidenceMgrDBByPG::QueryLastSeqID(const std::string& sequence) {
  std::int32_t value = -1;
  const bool done = Statement::Query(str_fmt(kSqlNextValue, sequence.c_str()), [&value](kelp::IDBResultSet* rows) {
    if (rows == nullptr || rows->IsEof()) {
      Orv::Base::Error::SetLastError({0, kStatementFailed});
      EVIDENCE_LOG(kLogFailure, "[%s]Query last swq id failed.[%s(%d)]");  // sic
      return;
    }
    value = rows->GetIntByIndex(0);
  });
  if (!done) {
    Orv::Base::Error::SetLastError({0, kStatementFailed});
    EVIDENCE_LOG(kLogFailure, "[%s]Query last seq id failed, do sql failed.[%s(%d)]");
    return -1;
  }
  return value;
}

}  // namespace Evidence
