#include "support/RunningPlugin.h"

#include <cstdlib>
#include <stdexcept>

#include "OrvBase/StringUtil.h"
#include "OrvBase/TimeUtil.h"
#include "support/AuthenticationStub.h"
#include "support/ElementsStub.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

constexpr char kSession[] = "session";

class OneSession final : public AuthenticationStub {
 public:
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> FindSession(const std::string& session) override {
    if (session != kSession) return nullptr;
    return std::make_shared<TarnPlatform::Authentication::CUserSession>(7, "alice", "10.0.0.7", 1);
  }
};

class EveryPermission final : public kelp::IClientPermissionApi {
 public:
  bool HaveWebClientPermission(const std::string& session, int) override { return session == kSession; }
  bool HaveCSClientPermission(const std::string& session, int) override { return session == kSession; }
};

class Adapter final : public kelp::IPlatformAdapterInterface {
 public:
  explicit Adapter(std::shared_ptr<kelp::IMsgBus> bus) : bus_(std::move(bus)) {}
  void GetMsgBus(std::shared_ptr<kelp::IMsgBus>& bus, bool) override { bus = bus_; }
  void GetClientPermissionApi(std::shared_ptr<kelp::IClientPermissionApi>& api, bool) override {
    api = std::make_shared<EveryPermission>();
  }
  std::shared_ptr<kelp::IElementApi> GetElementApi(bool) override { return elements_; }
  std::shared_ptr<kelp::IDeviceApi> GetDeviceApi(bool) override { return elements_; }
  std::shared_ptr<kelp::ISystemAndLogAPI> GetSystemAndLogApi(bool) override { return platform::MakeSystemAndLogApi(); }

 private:
  const std::shared_ptr<kelp::IMsgBus> bus_;
  const std::shared_ptr<ElementsStub> elements_ = std::make_shared<ElementsStub>();
};

class InstalledSystem final : public platform::ISystemBackend {
 public:
  std::string SystemGuid() override { return "TEST-GUID"; }
  bool ServerStandards(int&) override { return false; }
  std::string ExecutableDirectory() override { return RUNTIME_DIRECTORY "/"; }
  std::string AESKey() override { return "0123456789abcdef"; }
};

}  // namespace

RunningPlugin::RunningPlugin()
    : db_slot_(platform::MakePostgresDBManager({.connection = Postgres().AppConnection()})),
      authentication_slot_(std::make_shared<OneSession>()),
      system_slot_(std::make_shared<InstalledSystem>()),
      adapter_slot_(std::make_shared<Adapter>(routes_)) {
  platform::SetLogThreshold(1);
  if (!kelp::IDBManager::Instance()->Initialize(platform::kPlatformDbId, 4, 4, true) || !module_.Initialize()) {
    throw std::runtime_error("the plugin did not start");
  }
}

RunningPlugin::~RunningPlugin() {
  module_.Finalize();
  kelp::IDBManager::Instance()->UnInitialize(platform::kPlatformDbId);
  platform::SetLogThreshold(3);
}

std::string RunningPlugin::Request(int method, const std::string& path, const std::string& body,
                                   const std::string& session) const {
  const auto match = routes_->Find(path);
  if (!match) return "404";
  kelp::SHttpResponse response;
  match->callback(response, {method, session, match->url_ids, body});
  return response.response_body;
}

PluginTest::PluginTest() {
  setenv("TZ", "XXX-5:30", 1);
  tzset();
  CleanTables();
  plugin_.emplace();
}

void PluginTest::CleanTables() {
  Postgres().Query(R"(
DO $$
DECLARE
  name text;
BEGIN
  FOR name IN SELECT schemaname || '.' || tablename FROM pg_tables
              WHERE schemaname = 'evidence' OR tablename IN ('incre_resource', 'operation_log') LOOP
    EXECUTE 'DELETE FROM ' || name;
  END LOOP;
  FOR name IN SELECT schemaname || '.' || sequencename FROM pg_sequences LOOP
    EXECUTE 'ALTER SEQUENCE ' || name || ' RESTART';
  END LOOP;
  INSERT INTO evidence.evidence_type (id) SELECT generate_series(0, 5);
  INSERT INTO evidence.evidence_custom (id, types) VALUES (1, 1), (2, 0), (3, 0);
  INSERT INTO evidence.ftp_setting (id) VALUES (0);
END $$)");
}

std::string PluginTest::Sent() {
  using Orv::Base::StringUtil::StringReplace;
  std::string all;
  for (const auto& text : plugin_->Log().Texts(1, "db_layer"))
    all += (all.empty() ? "" : "\n") + text;
  plugin_->Log().Clear();
  int offset = 0;
  for (std::time_t time = began_; time <= std::time(nullptr); ++time) {
    all = StringReplace(all, Orv::Base::TimeUtil::TimeT2StrUTCTimeStamp(time), "UTC");
    all = StringReplace(all, Orv::Base::TimeUtil::TimeT2LocalTime(time, offset), "LOCAL");
  }
  return all;
}

}  // namespace evidence_test
