#include "OperationLog.h"

#include <array>
#include <cinttypes>
#include <memory>

#include "Database/SqlText.h"
#include "OrvBase/Log.h"
#include "OrvBase/StringUtil.h"
#include "RealBackends.h"

namespace platform {
namespace tarn {
namespace {

using database::Quoted;
using Orv::Base::details::ITarnFormatLog;

constexpr char kLogTag[] = "operation_log";

class LogBackend final : public ILogBackend {
 public:
  bool WriteLog(const std::string& session, const TarnPlatform::Log::COperationLogStruct& record) override {
    OperationLogEntry entry;
    entry.log_type = record.GetVallog_type();
    entry.object_name = record.GetValelement_name();
    entry.description = record.GetValdescription();
    return WriteEntry(session, entry);
  }
};

}  // namespace

constexpr char kSqlWriteEntry[] =
    "INSERT INTO platform.operation_log (log_type, object_id, main_code, sub_code, user_name, client_address, "
    "object_name, description) VALUES (%d, %" PRId64 ", %d, %d, '%s', '%s', '%s', '%s')";

bool WriteEntry(const std::string& session, const OperationLogEntry& entry) {
  std::string user_name;
  std::string client_address;
  if (!session.empty()) {
    std::shared_ptr<TarnPlatform::Authentication::CUserSession> found;
    if (!TarnPlatform::Authentication::GetUserSession(found, session)) return false;
    user_name = found->GetValUserName();
    client_address = found->GetValClientAddress();
  }
  // A NUL would end the text inside str_fmt, before the database layer could refuse it.
  const std::array<const std::string*, 4> texts{&user_name, &client_address, &entry.object_name, &entry.description};
  for (const std::string* text : texts) {
    if (text->find('\0') == std::string::npos) continue;
    ITarnFormatLog(5, kLogTag, "An entry of type %d with a NUL character was not written", entry.log_type);
    return false;
  }
  const std::string sql = Orv::Base::StringUtil::str_fmt(
      kSqlWriteEntry, entry.log_type, entry.object_id, entry.main_code, entry.sub_code, Quoted(user_name).c_str(),
      Quoted(client_address).c_str(), Quoted(entry.object_name).c_str(), Quoted(entry.description).c_str());
  return kelp::IDBManager::Instance()->ExecuteNoQuery(kPlatformDbId, kelp::IDBManager::kLogClass, sql);
}

}  // namespace tarn

std::shared_ptr<ILogBackend> MakeLogBackend() { return std::make_shared<tarn::LogBackend>(); }

}  // namespace platform
