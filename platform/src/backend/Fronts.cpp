#include <charconv>

#include "Backend.h"
#include "OrvBase/Error.h"
#include "OrvBase/FileUtil.h"
#include "TarnPlatform/Common.h"
#include "TarnPlatform/System.h"
#include "db_layer/DBLayerForBusiness.h"
#include "platform/SiteSettings.h"

namespace {

/// The installed object, or a refusing one of type `Refusing`.
template <class Interface, class Refusing>
std::shared_ptr<Interface> InstalledOr() {
  if (auto installed = platform::Slot<Interface>::Get()) return installed;
  static const auto refusing = std::make_shared<Refusing>();
  return refusing;
}

// Sub codes of refusals whose reason callers pass on to clients.
constexpr int kNoBackend = 1;
constexpr int kNotRead = 15;

bool Refused(int sub_code) {
  Orv::Base::Error::SetLastError({0, sub_code});
  return false;
}

struct NoDatabase final : kelp::IDBManager {
  bool Initialize(const std::string&, int, int, bool) override { return false; }
  void UnInitialize(const std::string&) override {}
  bool ExecuteNoQuery(const std::string&, int, const std::string&) override { return false; }
  bool ExecuteNoQueryList(const std::string&, int, const std::list<std::string>&) override { return false; }
  bool ExecuteQuery(const std::string&, int, const std::string&, const RowReader&) override { return false; }
};

struct NoThreads final : kelp::IThreadManager {
  bool CreateMessageLoop(const std::string&) override { return false; }
  void DestroyMessageLoop(const std::string&) override {}
  bool CreateMultiMessageLoop(const std::string&, int, int, int) override { return false; }
  void DestroyMultiMessageLoop(const std::string&) override {}
};

struct NoLanguage final : kelp::IMultiLanguageMgr {
  bool Load(const std::string&, const std::string&) override { return false; }
  void SetLanguage(const std::string&, const std::string&) override {}
  std::string GetString(const std::string&, const std::string&, const std::string&, const std::string&) override {
    return {};
  }
};

struct NoAdapter final : kelp::IPlatformAdapterInterface {
  void GetMsgBus(std::shared_ptr<kelp::IMsgBus>& bus, bool) override { bus.reset(); }
  void GetClientPermissionApi(std::shared_ptr<kelp::IClientPermissionApi>& api, bool) override { api.reset(); }
  std::shared_ptr<kelp::IElementApi> GetElementApi(bool) override { return nullptr; }
  std::shared_ptr<kelp::IDeviceApi> GetDeviceApi(bool) override { return nullptr; }
  std::shared_ptr<kelp::ISystemAndLogAPI> GetSystemAndLogApi(bool) override { return nullptr; }
};

struct NoComm final : plugin_comm::IPluginCommManager {
  bool PublishApi(const std::string&, const std::string&, const plugin_comm::ApiCallback&) override {
    return Refused(kNoBackend);
  }
  bool RecoverApi(const std::string&, const std::string&) override { return Refused(kNoBackend); }
  bool Request(std::shared_ptr<plugin_comm::IPluginCommData>& response, const std::string&,
               const std::shared_ptr<plugin_comm::IPluginCommData>&, const std::string&) override {
    response.reset();
    return false;
  }
};

}  // namespace

namespace kelp {

std::shared_ptr<IDBManager> IDBManager::Instance() { return InstalledOr<IDBManager, NoDatabase>(); }
std::shared_ptr<IThreadManager> IThreadManager::Instance() { return InstalledOr<IThreadManager, NoThreads>(); }
std::shared_ptr<IMultiLanguageMgr> IMultiLanguageMgr::Instance() {
  return InstalledOr<IMultiLanguageMgr, NoLanguage>();
}
std::shared_ptr<IPlatformAdapterInterface> IPlatformAdapterInterface::Instance() {
  return InstalledOr<IPlatformAdapterInterface, NoAdapter>();
}

}  // namespace kelp

namespace plugin_comm {

std::shared_ptr<IPluginCommManager> IPluginCommManager::Instance() { return InstalledOr<IPluginCommManager, NoComm>(); }

}  // namespace plugin_comm

namespace TarnPlatform {

namespace Authentication {
namespace {

/// The result of `ask` on the installed backend; `absent` without one.
template <class Result, class Ask>
Result AskBackend(Result absent, Ask ask) {
  const auto backend = platform::Slot<platform::IAuthenticationBackend>::Get();
  return backend ? ask(*backend) : absent;
}

}  // namespace

bool GetUserSession(std::shared_ptr<CUserSession>& out, const std::string& session) {
  out = AskBackend(std::shared_ptr<CUserSession>(), [&](auto& backend) { return backend.FindSession(session); });
  return out != nullptr;
}

bool GetUsername(std::string& out, const std::string& session) {
  std::shared_ptr<CUserSession> found;
  if (!GetUserSession(found, session)) return false;
  out = found->GetValUserName();
  return true;
}

bool GetClientAddress(std::string& out, const std::string& session) {
  std::shared_ptr<CUserSession> found;
  if (!GetUserSession(found, session) || found->GetValClientAddress().empty()) return false;
  out = found->GetValClientAddress();
  return true;
}

bool IsSuperUser(const std::string& session) {
  return AskBackend(false, [&](auto& backend) { return backend.IsSuperUser(session); });
}

bool CheckPassword(std::shared_ptr<CLoginResponse>& out, const std::shared_ptr<CLoginRequest>& request) {
  out.reset();
  return request && AskBackend(false, [&](auto& backend) { return backend.CheckPassword(out, *request); });
}

void AddLoginFailCount(const std::string& client_address) {
  AskBackend(false, [&](auto& backend) {
    backend.AddLoginFailCount(client_address);
    return true;
  });
}

// Without a backend to count tries, none may be made.
bool IsClientFreeze(const std::string& client_address) {
  return AskBackend(true, [&](auto& backend) { return backend.IsClientFreeze(client_address); });
}

bool IsUserFreeze(int user_id, const std::string& user_name) {
  return AskBackend(true, [&](auto& backend) { return backend.IsUserFreeze(user_id, user_name); });
}

int GetClientFreezeSurplusCount(const std::string& client_address) {
  return AskBackend(0, [&](auto& backend) { return backend.ClientTriesLeft(client_address); });
}

int GetUserFreezeSurplusCount(int user_id, const std::string& user_name) {
  return AskBackend(0, [&](auto& backend) { return backend.UserTriesLeft(user_id, user_name); });
}

bool IsEnableClientFreeze() {
  return AskBackend(true, [](auto& backend) { return backend.IsEnableClientFreeze(); });
}

bool HaveControlClientPermission(int code, int user_id) {
  return AskBackend(false, [&](auto& backend) { return backend.HaveControlClientPermission(code, user_id); });
}

int Query(std::shared_ptr<CUserInfo>& out, int user_id) {
  out.reset();
  return AskBackend(kNoBackend, [&](auto& backend) { return backend.QueryUser(out, user_id); });
}

bool AESEncryptClient(std::string& cipher, const std::string& plain, const std::string& session, int /*reserved*/) {
  cipher.clear();
  return AskBackend(false, [&](auto& backend) { return backend.AESEncryptClient(cipher, plain, session); });
}

bool AESDecrypt(std::string& plain, const std::string& cipher, const std::string& session) {
  plain.clear();
  return AskBackend(false, [&](auto& backend) { return backend.AESDecrypt(plain, cipher, session); });
}

}  // namespace Authentication

bool IncreResource::GetIncreResourceBySourceType(std::vector<std::shared_ptr<CIncreResourceStructInterface>>& out,
                                                 std::uint32_t version, int source_type) {
  out.clear();
  const auto backend = platform::Slot<platform::IIncreResourceBackend>::Get();
  if (!backend) return Refused(kNoBackend);
  return backend->ChangesAfter(out, version, source_type) || Refused(kNotRead);
}

bool Log::WriteLog(const std::string& session, const COperationLogStruct& record) {
  const auto backend = platform::Slot<platform::ILogBackend>::Get();
  return backend && backend->WriteLog(session, record);
}

std::string System::GetSystemGuid() {
  const auto backend = platform::Slot<platform::ISystemBackend>::Get();
  return backend ? backend->SystemGuid() : std::string();
}

std::string Common::GetAESKey() {
  const auto backend = platform::Slot<platform::ISystemBackend>::Get();
  return backend ? backend->AESKey() : std::string();
}

}  // namespace TarnPlatform

bool db_layer::CDBLayerForBusiness::GetServerStandardsForDBConnect(int& standard) {
  const auto backend = platform::Slot<platform::ISystemBackend>::Get();
  return backend && backend->ServerStandards(standard);
}

std::string platform::SiteSetting(std::string_view name) {
  const auto backend = platform::Slot<platform::ISystemBackend>::Get();
  return backend ? backend->SiteSetting(name) : std::string();
}

std::int64_t platform::SiteNumber(std::string_view name, std::int64_t fallback) {
  const auto text = SiteSetting(name);
  std::int64_t number = 0;
  const auto [stop, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
  return fault == std::errc() && stop == text.data() + text.size() && !text.empty() ? number : fallback;
}

std::string Orv::Base::FileUtil::GetCurExeDirUtf8() {
  const auto backend = platform::Slot<platform::ISystemBackend>::Get();
  return backend ? backend->ExecutableDirectory() : std::string("./");
}
