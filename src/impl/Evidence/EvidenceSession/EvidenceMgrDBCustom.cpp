#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "OrvBase/StringUtil.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {

using Orv::Base::StringUtil::str_fmt;

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

constexpr char kSqlOptionsOfCustom[] = "SELECT * FROM evidence.evidence_option WHERE custom_id = %d AND deleted = 0;";

bool CEvidenceMgrDBByPG::ReadAllCustomOptions(std::list<EvidenceCustomPtr>& customs) {
  // The text grows from custom to custom: the database gives the result of its last statement.
  std::string sqls;
  for (const auto& custom : customs) {
    if (custom->custom_type == kCustomFreeText) continue;
    sqls += str_fmt(kSqlOptionsOfCustom, custom->custom_id);
    const bool done = Statement::Query(sqls, [&custom](kelp::IDBResultSet* rows) {
      if (rows == nullptr) {
        Orv::Base::Error::SetLastError({0, kStatementFailed});
        EVIDENCE_LOG(kLogFailure, "[%s]Query ftp settings failed.[%s(%d)]");  // sic
        return;
      }
      for (; !rows->IsEof(); rows->Next()) {
        custom->custom_options.push_back({rows->GetInt("ID"), rows->GetString("name")});
      }
    });
    if (!done) {
      EVIDENCE_LOG(kLogFailure, "[%s]Get custom option failed, sqls[%s].[%s(%d)]", sqls.c_str());
      return Fail(kStatementFailed);
    }
  }
  return true;
}

}  // namespace Evidence
