#include "plugin_comm/PluginCommManager.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <utility>

#include "OrvBase/Error.h"
#include "OrvBase/Log.h"
#include "RealBackends.h"
#include "platform/Guard.h"

namespace plugin_comm {

IPluginCommData::~IPluginCommData() = default;

CPluginCommData::CPluginCommData(std::string json_text, const char* data, std::size_t size)
    : json_text_(std::move(json_text)) {
  if (size != 0) data_.assign(data, data + size);
}

CPluginCommData::~CPluginCommData() = default;

}  // namespace plugin_comm

namespace platform {
namespace {

using plugin_comm::ApiCallback;
using plugin_comm::IPluginCommData;

constexpr char kTag[] = "platform.comm";

struct Api {
  std::string plugin_id;
  ApiCallback callback;
  int calls_inside = 0;
};

/// Sets the last error of a refused PublishApi or RecoverApi; always false.
bool Refused() {
  Orv::Base::Error::SetLastError({0, 2});
  return false;
}

class PluginCommManager final : public plugin_comm::IPluginCommManager {
 public:
  bool PublishApi(const std::string& plugin_id, const std::string& path, const ApiCallback& callback) override {
    if (path.empty() || !callback) return Refused();
    const std::lock_guard lock(mutex_);
    return apis_.try_emplace(path, std::make_shared<Api>(Api{plugin_id, callback})).second || Refused();
  }

  bool RecoverApi(const std::string& plugin_id, const std::string& path) override {
    std::unique_lock lock(mutex_);
    const auto found = apis_.find(path);
    if (found == apis_.end() || found->second->plugin_id != plugin_id) return Refused();
    const std::shared_ptr<Api> api = found->second;
    apis_.erase(found);
    call_left_.wait(lock, [&] { return api->calls_inside == 0; });
    // Callers may still hold the record, but the plugin may be unloaded as soon as this returns.
    ApiCallback ended = std::exchange(api->callback, nullptr);
    lock.unlock();
    return true;
  }

  bool Request(std::shared_ptr<IPluginCommData>& response, const std::string& path,
               const std::shared_ptr<IPluginCommData>& request, const std::string& /*target*/) override {
    response.reset();
    const std::shared_ptr<Api> api = Enter(path);
    if (!api) return false;
    const CallGuard guard(*this, *api);
    Guard([&] { api->callback(path, request, response); },
          [&](const char* /*reason*/) {
            response.reset();
            Orv::Base::details::ITarnFormatLog(Orv::Base::kLogFailure, kTag, "The callback of %s threw an exception",
                                               path.c_str());
          });
    return response != nullptr;
  }

 private:
  class CallGuard {
   public:
    CallGuard(PluginCommManager& manager, Api& api) : manager_(manager), api_(api) {}
    ~CallGuard() { manager_.Leave(api_); }
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;

   private:
    PluginCommManager& manager_;
    Api& api_;
  };

  std::shared_ptr<Api> Enter(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto found = apis_.find(path);
    if (found == apis_.end()) return nullptr;
    ++found->second->calls_inside;
    return found->second;
  }

  void Leave(Api& api) {
    const std::lock_guard lock(mutex_);
    if (--api.calls_inside == 0) call_left_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable call_left_;
  std::map<std::string, std::shared_ptr<Api>> apis_;
};

}  // namespace

std::shared_ptr<plugin_comm::IPluginCommManager> MakePluginCommManager() {
  return std::make_shared<PluginCommManager>();
}

}  // namespace platform
