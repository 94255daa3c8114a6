#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Backend.h"
#include "RealBackends.h"
#include "accounts/Sessions.h"

/// The platform interfaces that the host implements itself. All are thread-safe.
namespace host {

/// kelp::IClientPermissionApi on the host's sessions: a super user has every permission.
std::shared_ptr<kelp::IClientPermissionApi> MakeClientPermissions(std::shared_ptr<const Sessions> sessions);

/// The text of a key of the settings file.
using SiteSettings = std::function<std::string(std::string_view name)>;

/// platform::ISystemBackend: the guid is read from the database once.
std::shared_ptr<platform::ISystemBackend> MakeSystem(int server_standard, std::string executable_directory,
                                                     std::string aes_key, SiteSettings settings = {});

/// Folder of the running executable, ending in "/".
std::string ExecutableDirectory();

/// The route table as plugins see it: records which paths were registered, so that those of a plugin that failed to
/// start can be removed.
class RouteLedger final : public kelp::IMsgBus {
 public:
  explicit RouteLedger(std::shared_ptr<kelp::IMsgBus> routes) : routes_(std::move(routes)) {}

  bool RegisterUrl(const std::string& url, int method_code, int route_mode, const kelp::UrlCallback& callback) override;
  bool RegisterUrlWithCapability(const std::string& url, int method_code, int route_mode,
                                 const kelp::UrlCallback& callback, const std::string& capability) override;
  bool UnRegisterUrl(const std::string& url) override;

  /// Starts recording the registrations of one plugin.
  void BeginPlugin();
  /// Removes the routes registered since BeginPlugin.
  void DropPlugin();

 private:
  void Note(const std::string& url);

  const std::shared_ptr<kelp::IMsgBus> routes_;
  std::mutex mutex_;
  std::vector<std::string> noted_;
};

/// kelp::IPlatformAdapterInterface that returns the objects it was made from.
struct AdapterParts {
  std::shared_ptr<kelp::IMsgBus> bus;
  std::shared_ptr<kelp::IClientPermissionApi> permissions;
  std::shared_ptr<kelp::IElementApi> elements;
  std::shared_ptr<kelp::IDeviceApi> devices;
  std::shared_ptr<kelp::ISystemAndLogAPI> system_and_log;
};
std::shared_ptr<kelp::IPlatformAdapterInterface> MakeAdapter(AdapterParts parts);

}  // namespace host
