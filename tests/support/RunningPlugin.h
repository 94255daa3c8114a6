#pragma once

#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "Backend.h"
#include "KelpPlatform/MsgBus.h"
#include "RealBackends.h"
#include "impl/Evidence/EvidenceModule.h"
#include "support/LogRecorder.h"

namespace evidence_test {

/// The plugin on the real platform over the environment's PostgreSQL, without sockets: requests go
/// to the callback that the plugin registered for their path. No cameras. One session, "session", of the
/// user "alice" at 10.0.0.7, who may do everything.
class RunningPlugin {
 public:
  /// Installs the platform and starts the plugin; throws std::runtime_error when it does not start.
  RunningPlugin();
  ~RunningPlugin();
  RunningPlugin(const RunningPlugin&) = delete;
  RunningPlugin& operator=(const RunningPlugin&) = delete;

  /// The answer to a request; "404" for an unknown path.
  std::string Request(int method, const std::string& path, const std::string& body = {},
                      const std::string& session = "session") const;

  LogRecorder& Log() const { return *log_; }

 private:
  const std::shared_ptr<LogRecorder> log_ = std::make_shared<LogRecorder>();
  const std::shared_ptr<platform::IRouteTable> routes_ = platform::MakeRouteTable();
  platform::ScopedBackend<platform::ILogSink> log_slot_{log_};
  platform::ScopedBackend<kelp::IDBManager> db_slot_;
  platform::ScopedBackend<kelp::IThreadManager> threads_slot_{platform::MakeThreadManager()};
  platform::ScopedBackend<kelp::IMultiLanguageMgr> language_slot_{platform::MakeMultiLanguageMgr()};
  platform::ScopedBackend<plugin_comm::IPluginCommManager> comm_slot_{platform::MakePluginCommManager()};
  platform::ScopedBackend<platform::IIncreResourceBackend> incre_slot_{platform::MakeIncreResourceBackend()};
  platform::ScopedBackend<platform::ILogBackend> platform_log_slot_{platform::MakeLogBackend()};
  platform::ScopedBackend<platform::IAuthenticationBackend> authentication_slot_;
  platform::ScopedBackend<platform::ISystemBackend> system_slot_;
  platform::ScopedBackend<kelp::IPlatformAdapterInterface> adapter_slot_;
  Evidence::CEvidenceModule module_;
};

/// A test of a plugin that starts over tables as the set-up makes them, in a time zone of +05:30.
class PluginTest : public testing::Test {
 protected:
  PluginTest();

  /// Brings the tables back to that; what the plugin has read before stays with it.
  static void CleanTables();

  void Restart() {
    plugin_.reset();
    plugin_.emplace();
  }

  std::string Get(const std::string& path, const std::string& body = {}) const {
    return plugin_->Request(kelp::kMethodGet, path, body);
  }
  std::string Put(const std::string& path, const std::string& body) const {
    return plugin_->Request(kelp::kMethodPut, path, body);
  }

  /// What the database got since the last call, a text a line, with the times of now as UTC or LOCAL.
  std::string Sent();

  std::optional<RunningPlugin> plugin_;

 private:
  const std::time_t began_ = std::time(nullptr);
};

}  // namespace evidence_test
