#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "OrvBase/Export.h"

namespace plugin_comm {

/// What two plugins hand each other.
class PLATFORM_API IPluginCommData {
 public:
  virtual ~IPluginCommData();
};

/// A JSON text with optional binary data beside it.
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

/// Serves one API path: the path, the request, and the response, which the callee fills; one left
/// empty tells the caller that the call failed. Runs on the caller's thread, any number at a time.
using ApiCallback = std::function<void(const std::string& url, const std::shared_ptr<IPluginCommData>& request,
                                       std::shared_ptr<IPluginCommData>& response)>;

/// Calls between plugins of one host.
class IPluginCommManager {
 public:
  virtual ~IPluginCommManager() = default;

  /// The process's manager; never null. One that refuses everything stands in until one is installed.
  PLATFORM_API static std::shared_ptr<IPluginCommManager> Instance();

  /// False with (0, 2) when the path is already published, by any plugin, or path or callback is empty.
  [[nodiscard]] virtual bool PublishApi(const std::string& plugin_id, const std::string& path,
                                        const ApiCallback& callback) = 0;
  /// False with (0, 2) when `plugin_id` does not publish the path. Returns only when no call is left inside the
  /// callback and the callback is destroyed; so it must not be called from inside it.
  [[nodiscard]] virtual bool RecoverApi(const std::string& plugin_id, const std::string& path) = 0;

  /// Calls the API at `path` on this thread and waits for its answer. False, with `response` emptied, when nobody
  /// publishes the path, or the callback left the response empty or threw. `target` is always empty: whichever plugin
  /// publishes the path is asked.
  [[nodiscard]] virtual bool Request(std::shared_ptr<IPluginCommData>& response, const std::string& path,
                                     const std::shared_ptr<IPluginCommData>& request, const std::string& target) = 0;
};

}  // namespace plugin_comm
