#include "OperationLog.h"

#include <array>
#include <cinttypes>
#include <memory>

#include "Database/SqlText.h"
#include "OrvBase/StringUtil.h"
#include "OrvBase/Utf8.h"
#include "RealBackends.h"

namespace platform {
namespace tarn {
namespace {

using database::Quoted;

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

/// `text` ready to stand between single quotes. What the database cannot hold (NUL, bytes that are no UTF-8) gives way
/// to U+FFFD: no name that a client chose may keep a line out of the log.
std::string Storable(const std::string& text) {
  const std::string_view nul("\0", 1);
  return Quoted(Orv::Base::Utf8::Repaired(Orv::Base::StringUtil::StringReplace(text, nul, "\xEF\xBF\xBD")));
}

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
  const std::string sql = Orv::Base::StringUtil::str_fmt(
      kSqlWriteEntry, entry.log_type, entry.object_id, entry.main_code, entry.sub_code, Storable(user_name).c_str(),
      Storable(client_address).c_str(), Storable(entry.object_name).c_str(), Storable(entry.description).c_str());
  return kelp::IDBManager::Instance()->ExecuteNoQuery(kPlatformDbId, kelp::IDBManager::kLogClass, sql);
}

}  // namespace tarn

std::shared_ptr<ILogBackend> MakeLogBackend() { return std::make_shared<tarn::LogBackend>(); }

}  // namespace platform
