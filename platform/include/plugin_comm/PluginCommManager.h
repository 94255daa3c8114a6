#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "OrvBase/Export.h"

namespace plugin_comm {

/// Data passed between plugins.
class PLATFORM_API IPluginCommData {
 public:
  virtual ~IPluginCommData();
};

/// A JSON text with optional binary data.
class PLATFORM_API CPluginCommData : public IPluginCommData {
 public:
  /// Copies `size` bytes from `data`, which may be null when `size` is 0.
  CPluginCommData(std::string json_text, const char* data, std::size_t size);
  ~CPluginCommData() override;

  const std::string& JsonTxt() const { return json_text_; }
  const std::vector<char>& Data() const { return data_; }

 private:
  std::string json_text_;
  std::vector<char> data_;
};

/// Serves one API path: the path, the request, and the response, which the callee fills; a response left null means
/// that the call failed. Runs on the caller's thread; calls may run concurrently.
using ApiCallback = std::function<void(const std::string& url, const std::shared_ptr<IPluginCommData>& request,
                                       std::shared_ptr<IPluginCommData>& response)>;

/// Calls between plugins of one host.
class IPluginCommManager {
 public:
  virtual ~IPluginCommManager() = default;

  /// The process's manager; never null. Until one is installed, a placeholder refuses every call.
  PLATFORM_API static std::shared_ptr<IPluginCommManager> Instance();

  /// False, with the last error (0, 2), when the path is already published by any plugin, or path or callback is empty.
  [[nodiscard]] virtual bool PublishApi(const std::string& plugin_id, const std::string& path,
                                        const ApiCallback& callback) = 0;
  /// False, with the last error (0, 2), when `plugin_id` does not publish the path. Blocks until no call is inside the
  /// callback and destroys it, so it must not be called from within the callback.
  [[nodiscard]] virtual bool RecoverApi(const std::string& plugin_id, const std::string& path) = 0;

  /// Calls the API at `path` synchronously on this thread. False, with `response` emptied, when no plugin publishes the
  /// path, or the callback left the response null or threw. `target` is always empty: the plugin that publishes the
  /// path is called.
  [[nodiscard]] virtual bool Request(std::shared_ptr<IPluginCommData>& response, const std::string& path,
                                     const std::shared_ptr<IPluginCommData>& request, const std::string& target) = 0;
};

}  // namespace plugin_comm
