#include "OperationLog.h"

#include <array>
#include <cinttypes>
#include <memory>

#include "RealBackends.h"
#include "platform/SqlText.h"

namespace platform {
namespace tarn {
namespace {

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

/// No name chosen by a client may prevent an entry from being written.
std::string StorableLiteral(const std::string& text) { return SqlText::Literal(SqlText::Repaired(text)); }

}  // namespace

constexpr char kSqlWriteEntry[] =
    "INSERT INTO platform.operation_log (log_type, object_id, main_code, sub_code, user_name, client_address, "
    "object_name, description) VALUES (%d, %" PRId64 ", %d, %d, %s, %s, %s, %s)";

bool WriteEntry(const std::string& session, const OperationLogEntry& entry) {
  std::string user_name;
  std::string client_address;
  if (!session.empty()) {
    std::shared_ptr<TarnPlatform::Authentication::CUserSession> found;
    if (!TarnPlatform::Authentication::GetUserSession(found, session)) return false;
    user_name = found->GetValUserName();
    client_address = found->GetValClientAddress();
  }
  const std::string sql =
      SqlText::Format(kSqlWriteEntry, entry.log_type, entry.object_id, entry.main_code, entry.sub_code,
                      StorableLiteral(user_name).c_str(), StorableLiteral(client_address).c_str(),
                      StorableLiteral(entry.object_name).c_str(), StorableLiteral(entry.description).c_str());
  return kelp::IDBManager::Instance()->ExecuteNoQuery(kPlatformDbId, kelp::IDBManager::kLogClass, sql);
}

}  // namespace tarn

std::shared_ptr<ILogBackend> MakeLogBackend() { return std::make_shared<tarn::LogBackend>(); }

}  // namespace platform
