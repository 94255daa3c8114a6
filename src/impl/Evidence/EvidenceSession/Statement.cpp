#include "impl/Evidence/EvidenceSession/Statement.h"

#include <ctime>

#include "Common/PluginConstants.h"
#include "OrvBase/StringUtil.h"
#include "OrvBase/TimeUtil.h"

namespace Evidence::Statement {

std::string Quoted(std::string_view value) { return Orv::Base::StringUtil::StringReplace(value, "'", "''"); }

std::string UtcStampNow() { return Quoted(Orv::Base::TimeUtil::TimeT2StrUTCTimeStamp(std::time(nullptr))); }

bool Execute(const std::string& sql) {
  if (sql.empty()) return true;
  return kelp::IDBManager::Instance()->ExecuteNoQuery(kPluginId, kelp::IDBManager::kConfigClass, sql);
}

bool Query(const std::string& sql, const kelp::IDBManager::RowReader& reader) {
  return kelp::IDBManager::Instance()->ExecuteQuery(kPluginId, kelp::IDBManager::kConfigClass, sql, reader);
}

}  // namespace Evidence::Statement
