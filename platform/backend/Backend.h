#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "KelpPlatform/DBManager.h"
#include "KelpPlatform/MultiLanguageMgr.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "KelpPlatform/ThreadManager.h"
#include "OrvBase/Export.h"
#include "TarnPlatform/Authentication.h"
#include "TarnPlatform/IncreResource.h"
#include "TarnPlatform/Log.h"
#include "plugin_comm/PluginCommManager.h"

/// The implementations behind the platform's interfaces. Plugins never see this folder: the host installs real objects,
/// tests install scripted ones. Until then every interface refuses its calls.
namespace platform {

class IHttpRoutes;

/// Behind TarnPlatform::Authentication.
class IAuthenticationBackend {
 public:
  virtual ~IAuthenticationBackend() = default;
  /// Null when the session is unknown or has ended.
  virtual std::shared_ptr<TarnPlatform::Authentication::CUserSession> FindSession(const std::string& session) = 0;
  virtual bool IsSuperUser(const std::string& session) = 0;
  virtual bool CheckPassword(std::shared_ptr<TarnPlatform::Authentication::CLoginResponse>& out,
                             const TarnPlatform::Authentication::CLoginRequest& request) = 0;
  virtual void AddLoginFailCount(const std::string& client_address) = 0;
  virtual bool IsClientFreeze(const std::string& client_address) = 0;
  virtual bool IsUserFreeze(int user_id, const std::string& user_name) = 0;
  virtual int ClientTriesLeft(const std::string& client_address) = 0;
  virtual int UserTriesLeft(int user_id, const std::string& user_name) = 0;
  virtual bool IsEnableClientFreeze() = 0;
  virtual bool HaveControlClientPermission(int code, int user_id) = 0;
  virtual int QueryUser(std::shared_ptr<TarnPlatform::Authentication::CUserInfo>& out, int user_id) = 0;
  virtual bool AESEncryptClient(std::string& cipher, const std::string& plain, const std::string& session) = 0;
  virtual bool AESDecrypt(std::string& plain, const std::string& cipher, const std::string& session) = 0;
};

/// Behind TarnPlatform::IncreResource.
class IIncreResourceBackend {
 public:
  virtual ~IIncreResourceBackend() = default;
  virtual bool ChangesAfter(
      std::vector<std::shared_ptr<TarnPlatform::IncreResource::CIncreResourceStructInterface>>& out,
      std::uint32_t version, int source_type) = 0;
};

/// Behind TarnPlatform::Log.
class ILogBackend {
 public:
  virtual ~ILogBackend() = default;
  virtual bool WriteLog(const std::string& session, const TarnPlatform::Log::COperationLogStruct& record) = 0;
};

/// Behind TarnPlatform::System, TarnPlatform::Common, the server's size class, the executable's directory and
/// platform::SiteSetting.
class ISystemBackend {
 public:
  virtual ~ISystemBackend() = default;
  virtual std::string SystemGuid() = 0;
  /// False, with `standard` untouched, when not known.
  virtual bool ServerStandards(int& standard) = 0;
  /// Ends in "/".
  virtual std::string ExecutableDirectory() = 0;
  virtual std::string AESKey() = 0;
  /// Behind platform::SiteSetting.
  virtual std::string SiteSetting(std::string_view /*name*/) { return {}; }
};

/// Destination of log lines. Thread-safe; a file that takes nothing more must not hold callers for long.
class ILogSink {
 public:
  virtual ~ILogSink() = default;
  virtual void Write(int level, std::string_view tag, std::string_view text) = 0;
  /// Opens its file anew. False, with the old one kept, when that fails.
  [[nodiscard]] virtual bool Reopen() { return true; }
};

/// Lines below `level` are dropped before they are formatted. Starts at Orv::Base::kLogProgress.
PLATFORM_API void SetLogThreshold(int level);

/// Holds the installed object of one interface. Thread-safe.
template <class Interface>
class Slot {
 public:
  /// The installed object; null when there is none.
  static std::shared_ptr<Interface> Get();
  /// Installs `next` (null removes the object) and returns the previous object.
  static std::shared_ptr<Interface> Exchange(std::shared_ptr<Interface> next);
};

extern template class PLATFORM_API Slot<kelp::IDBManager>;
extern template class PLATFORM_API Slot<kelp::IThreadManager>;
extern template class PLATFORM_API Slot<kelp::IMultiLanguageMgr>;
extern template class PLATFORM_API Slot<kelp::IPlatformAdapterInterface>;
extern template class PLATFORM_API Slot<plugin_comm::IPluginCommManager>;
extern template class PLATFORM_API Slot<IAuthenticationBackend>;
extern template class PLATFORM_API Slot<IIncreResourceBackend>;
extern template class PLATFORM_API Slot<ILogBackend>;
extern template class PLATFORM_API Slot<ISystemBackend>;
extern template class PLATFORM_API Slot<ILogSink>;
extern template class PLATFORM_API Slot<IHttpRoutes>;

/// Installs an object for the lifetime of a scope; used by tests.
template <class Interface>
class ScopedBackend {
 public:
  explicit ScopedBackend(std::shared_ptr<Interface> next) : previous_(Slot<Interface>::Exchange(std::move(next))) {}
  ~ScopedBackend() { Slot<Interface>::Exchange(std::move(previous_)); }
  ScopedBackend(const ScopedBackend&) = delete;
  ScopedBackend& operator=(const ScopedBackend&) = delete;

 private:
  std::shared_ptr<Interface> previous_;
};

}  // namespace platform
