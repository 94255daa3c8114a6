#include "Backends.h"

#include <filesystem>
#include <utility>

namespace host {
namespace {

class ClientPermissions final : public kelp::IClientPermissionApi {
 public:
  explicit ClientPermissions(std::shared_ptr<const Sessions> sessions) : sessions_(std::move(sessions)) {}

  bool HaveWebClientPermission(const std::string& id, int code) override { return Has(id, ClientKind::kWeb, code); }
  bool HaveCSClientPermission(const std::string& id, int code) override { return Has(id, ClientKind::kCs, code); }

 private:
  bool Has(const std::string& id, ClientKind kind, int code) const {
    const auto session = sessions_->Find(id);
    return session && (session->user.super_user || session->user.permissions.contains({kind, code}));
  }

  const std::shared_ptr<const Sessions> sessions_;
};

class System final : public platform::ISystemBackend {
 public:
  System(int server_standard, std::string directory, std::string aes_key, SiteSettings settings)
      : server_standard_(server_standard),
        directory_(std::move(directory)),
        aes_key_(std::move(aes_key)),
        settings_(std::move(settings)) {}

  std::string SystemGuid() override;

  bool ServerStandards(int& standard) override {
    standard = server_standard_;
    return true;
  }

  std::string ExecutableDirectory() override { return directory_; }
  std::string AESKey() override { return aes_key_; }
  std::string SiteSetting(std::string_view name) override { return settings_ ? settings_(name) : std::string(); }

 private:
  const int server_standard_;
  const std::string directory_;
  const std::string aes_key_;
  const SiteSettings settings_;
  std::mutex mutex_;
  std::string guid_;
};

constexpr char kSqlSystemGuid[] = "SELECT guid FROM platform.system";

std::string System::SystemGuid() {
  {
    const std::lock_guard lock(mutex_);
    if (!guid_.empty()) return guid_;
  }
  std::string guid;
  const bool answered = kelp::IDBManager::Instance()->ExecuteQuery(
      platform::kPlatformDbId, kelp::IDBManager::kConfigClass, kSqlSystemGuid,
      [&guid](kelp::IDBResultSet* rows) { guid = rows->GetString("guid"); });
  if (!answered) return {};
  const std::lock_guard lock(mutex_);
  guid_ = guid;
  return guid;
}

class Adapter final : public kelp::IPlatformAdapterInterface {
 public:
  explicit Adapter(AdapterParts parts) : parts_(std::move(parts)) {}

  void GetMsgBus(std::shared_ptr<kelp::IMsgBus>& bus, bool) override { bus = parts_.bus; }
  void GetClientPermissionApi(std::shared_ptr<kelp::IClientPermissionApi>& api, bool) override {
    api = parts_.permissions;
  }
  std::shared_ptr<kelp::IElementApi> GetElementApi(bool) override { return parts_.elements; }
  std::shared_ptr<kelp::IDeviceApi> GetDeviceApi(bool) override { return parts_.devices; }
  std::shared_ptr<kelp::ISystemAndLogAPI> GetSystemAndLogApi(bool) override { return parts_.system_and_log; }

 private:
  const AdapterParts parts_;
};

}  // namespace

std::shared_ptr<kelp::IClientPermissionApi> MakeClientPermissions(std::shared_ptr<const Sessions> sessions) {
  return std::make_shared<ClientPermissions>(std::move(sessions));
}

std::shared_ptr<platform::ISystemBackend> MakeSystem(int server_standard, std::string executable_directory,
                                                     std::string aes_key, SiteSettings settings) {
  return std::make_shared<System>(server_standard, std::move(executable_directory), std::move(aes_key),
                                  std::move(settings));
}

std::shared_ptr<kelp::IPlatformAdapterInterface> MakeAdapter(AdapterParts parts) {
  return std::make_shared<Adapter>(std::move(parts));
}

std::string ExecutableDirectory() {
  std::error_code error;
  const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? "./" : executable.parent_path().string() + "/";
}

bool RouteLedger::RegisterUrl(const std::string& url, int method_code, int route_mode,
                              const kelp::UrlCallback& callback) {
  if (!routes_->RegisterUrl(url, method_code, route_mode, callback)) return false;
  Note(url);
  return true;
}

bool RouteLedger::RegisterUrlWithCapability(const std::string& url, int method_code, int route_mode,
                                            const kelp::UrlCallback& callback, const std::string& capability) {
  if (!routes_->RegisterUrlWithCapability(url, method_code, route_mode, callback, capability)) return false;
  Note(url);
  return true;
}

bool RouteLedger::UnRegisterUrl(const std::string& url) { return routes_->UnRegisterUrl(url); }

void RouteLedger::BeginPlugin() {
  const std::lock_guard lock(mutex_);
  noted_.clear();
}

void RouteLedger::DropPlugin() {
  std::vector<std::string> noted;
  {
    const std::lock_guard lock(mutex_);
    noted.swap(noted_);
  }
  for (const auto& url : noted)
    routes_->UnRegisterUrl(url);
}

void RouteLedger::Note(const std::string& url) {
  const std::lock_guard lock(mutex_);
  noted_.push_back(url);
}

}  // namespace host
