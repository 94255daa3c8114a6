#include "impl/Evidence/EvidenceSession/Statement.h"

#include <ctime>

#include "Common/PluginConstants.h"
#include "OrvBase/StringUtil.h"
#include "OrvBase/TimeUtil.h"

namespace Evidence::Statement {

using Orv::Base::StringUtil::StringReplace;

std::string EscapeLikeText(std::string_view value) {
  const std::string without_backslash = StringReplace(value, "\\", "\\\\");
  return Escaped(StringReplace(StringReplace(without_backslash, "_", "\\_"), "%", "\\%"));
}

std::string UtcStampNow() { return Escaped(Orv::Base::TimeUtil::TimeT2StrUTCTimeStamp(std::time(nullptr))); }

LocalTime LocalTimeOf(std::time_t time) {
  LocalTime local{{}, 0};
  local.text = Escaped(Orv::Base::TimeUtil::TimeT2LocalTime(time, local.offset_minutes));
  return local;
}

bool Execute(const std::string& sql) {
  if (sql.empty()) return true;
  return kelp::IDBManager::Instance()->ExecuteNoQuery(kPluginId, kelp::IDBManager::kConfigClass, sql);
}

bool ExecuteList(const std::list<std::string>& sqls) {
  return kelp::IDBManager::Instance()->ExecuteNoQueryList(kPluginId, kelp::IDBManager::kConfigClass, sqls);
}

bool Query(const std::string& sql, const kelp::IDBManager::RowReader& reader) {
  return kelp::IDBManager::Instance()->ExecuteQuery(kPluginId, kelp::IDBManager::kConfigClass, sql, reader);
}

}  // namespace Evidence::Statement
