#pragma once

#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "Backend.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "support/ElementsStub.h"
#include "support/LogRecorder.h"
#include "unit/plugin/ScriptedDatabase.h"

/// A platform whose every answer a test scripts, and which notes every call in order.
namespace scripted {

inline std::string ValueOf(const Row& row, const std::string& name) {
  const auto found = row.find(name);
  return found == row.end() ? std::string() : found->second;
}

/// The parts as texts with blanks between.
template <class... Parts>
std::string Words(const Parts&... parts) {
  std::ostringstream text;
  ((text << (text.tellp() > 0 ? " " : "") << parts), ...);
  return text.str();
}

struct Noting {
  explicit Noting(Calls& all) : calls(all) {}
  /// Notes a call; always true.
  template <class... Parts>
  bool Note(const Parts&... parts) {
    NoteCall(calls, Words(parts...));
    return true;
  }
  Calls& calls;
};

class ResultSet final : public kelp::IDBResultSet {
 public:
  explicit ResultSet(std::vector<Row> rows) : rows_(std::move(rows)) {}
  bool IsEof() const override { return at_ >= rows_.size(); }
  void Next() override { ++at_; }
  int GetInt(std::string_view column) const override {
    const std::string text = GetString(column);
    return text.empty() ? 0 : std::stoi(text);
  }
  std::string GetString(std::string_view column) const override {
    return IsEof() ? std::string() : ValueOf(rows_[at_], kelp::ToLower(std::string(column)));
  }
  int GetIntByIndex(int) const override { return IsEof() ? 0 : std::stoi(rows_[at_].begin()->second); }

 private:
  std::vector<Row> rows_;
  std::size_t at_ = 0;
};

/// Runs texts on its tables, one at a time.
struct Database final : kelp::IDBManager, Noting {
  using Noting::Noting;
  bool initialize = true;
  Tables tables{calls};
  std::string throws;  ///< the text of the exception that answers each statement

  bool Initialize(const std::string& id, int config, int log, bool now) override {
    return Note("db init", id, config, log, now ? "now" : "later") && initialize;
  }
  void UnInitialize(const std::string& id) override { Note("db uninit", id); }
  bool ExecuteNoQuery(const std::string& id, int connection_class, const std::string& sql) override {
    return Send(id, connection_class, sql).has_value();
  }
  bool ExecuteNoQueryList(const std::string& id, int connection_class, const std::list<std::string>& sqls) override {
    return Send(id, connection_class, std::accumulate(sqls.begin(), sqls.end(), std::string())).has_value();
  }
  bool ExecuteQuery(const std::string& id, int connection_class, const std::string& sql,
                    const RowReader& reader) override {
    const auto rows = Send(id, connection_class, sql);
    if (!rows) return false;
    ResultSet cursor(*rows);
    reader(&cursor);
    return true;
  }

 private:
  std::optional<std::vector<Row>> Send(const std::string& id, int connection_class, const std::string& sql) {
    if (id != "casefile.s" || connection_class != kConfigClass) return std::nullopt;
    const std::lock_guard lock(mutex_);
    if (!throws.empty()) throw std::runtime_error(throws);
    return tables.Run(sql);
  }

  std::mutex mutex_;
};

struct Threads final : kelp::IThreadManager, Noting {
  using Noting::Noting;
  std::set<std::string> refused;
  bool CreateMessageLoop(const std::string& key) override { return Note("loop", key) && !refused.contains(key); }
  void DestroyMessageLoop(const std::string& key) override { Note("end loop", key); }
  bool CreateMultiMessageLoop(const std::string& key, int queues, int threads, int priority) override {
    return Note("multi loop", key, queues, threads, priority) && !refused.contains(key);
  }
  void DestroyMultiMessageLoop(const std::string& key) override { Note("end multi loop", key); }
};

struct Language final : kelp::IMultiLanguageMgr, Noting {
  using Noting::Noting;
  bool load = true;
  std::map<std::string, std::string> texts;  ///< by "module/language/section/key"
  bool Load(const std::string& module, const std::string& directory) override {
    return Note("language load", module, directory) && load;
  }
  void SetLanguage(const std::string& module, const std::string& language) override {
    Note("language set", module, language);
  }
  std::string GetString(const std::string& module, const std::string& key, const std::string& language,
                        const std::string& section) override {
    return ValueOf(texts, module + "/" + language + "/" + section + "/" + key);
  }
};

struct Bus final : kelp::IMsgBus, Noting {
  using Noting::Noting;
  std::vector<std::tuple<std::string, int, int, std::string>> registrations;  ///< url, method, mode and capability
  std::vector<std::string> removed;
  std::map<std::string, kelp::UrlCallback> callbacks;
  bool RegisterUrl(const std::string& url, int method, int mode, const kelp::UrlCallback& callback) override {
    return RegisterUrlWithCapability(url, method, mode, callback, std::string());
  }
  bool RegisterUrlWithCapability(const std::string& url, int method, int mode, const kelp::UrlCallback& callback,
                                 const std::string& capability) override {
    if (registrations.empty()) Note("routes");
    registrations.emplace_back(url, method, mode, capability);
    callbacks[url] = callback;
    return true;
  }
  bool UnRegisterUrl(const std::string& url) override {
    if (removed.empty()) Note("end routes");
    removed.push_back(url);
    return true;
  }
};

struct Permissions final : kelp::IClientPermissionApi {
  std::set<int> denied;     ///< to web clients
  std::set<int> denied_cs;  ///< to CS clients
  bool HaveWebClientPermission(const std::string&, int code) override { return !denied.contains(code); }
  bool HaveCSClientPermission(const std::string&, int code) override { return !denied_cs.contains(code); }
};

struct SystemAndLog final : kelp::ISystemAndLogAPI, Noting {
  using Noting::Noting;
  std::vector<std::string> increments;  ///< "type id method"; those of several threads all come
  bool refused = false;                 ///< whether increments are refused
  bool AddIncreResouce(int type, std::uint64_t id, int method) override {
    const std::lock_guard lock(mutex_);
    increments.push_back(Words(type, id, method));
    return !refused;
  }
  int WriteOperatorLog(const std::string&, int log_type, std::int64_t object_id, const std::string& name, int,
                       const std::string&, int, int sub_code) override {
    return Note("failed", log_type, object_id, name, sub_code) ? 0 : 1;
  }

 private:
  std::mutex mutex_;
};

struct Adapter final : kelp::IPlatformAdapterInterface {
  std::shared_ptr<kelp::IMsgBus> bus;
  std::shared_ptr<kelp::IClientPermissionApi> permissions;
  std::shared_ptr<kelp::IElementApi> elements;
  std::shared_ptr<kelp::IDeviceApi> devices;
  std::shared_ptr<kelp::ISystemAndLogAPI> system_and_log;
  void GetMsgBus(std::shared_ptr<kelp::IMsgBus>& out, bool) override { out = bus; }
  void GetClientPermissionApi(std::shared_ptr<kelp::IClientPermissionApi>& out, bool) override { out = permissions; }
  std::shared_ptr<kelp::IElementApi> GetElementApi(bool) override { return elements; }
  std::shared_ptr<kelp::IDeviceApi> GetDeviceApi(bool) override { return devices; }
  std::shared_ptr<kelp::ISystemAndLogAPI> GetSystemAndLogApi(bool) override { return system_and_log; }
};

struct Comm final : plugin_comm::IPluginCommManager, Noting {
  using Noting::Noting;
  std::set<std::string> refused;
  bool PublishApi(const std::string& id, const std::string& path, const plugin_comm::ApiCallback&) override {
    return Note("publish", id, path) && !refused.contains(path);
  }
  bool RecoverApi(const std::string& id, const std::string& path) override {
    return Note("recover", id, path) && !refused.contains(path);
  }
  /// Replies to a request; as if nobody published the path until it is set.
  plugin_comm::ApiCallback answer;
  /// Whether a request counts as served when the reply is left empty.
  bool serve_empty = false;
  std::vector<std::string> requests;  ///< "path>target json"
  bool Request(std::shared_ptr<plugin_comm::IPluginCommData>& response, const std::string& path,
               const std::shared_ptr<plugin_comm::IPluginCommData>& request, const std::string& target) override {
    const auto sent = std::dynamic_pointer_cast<plugin_comm::CPluginCommData>(request);
    requests.push_back(path + ">" + target + " " + (sent ? sent->JsonTxt() : "null"));
    response.reset();
    if (answer) answer(path, request, response);
    return response || serve_empty;
  }
};

struct Increments final : platform::IIncreResourceBackend {
  using Change = TarnPlatform::IncreResource::CIncreResourceStructInterface;
  bool refused = false;
  std::vector<std::shared_ptr<Change>> changes;  ///< after any version
  bool ChangesAfter(std::vector<std::shared_ptr<Change>>& out, std::uint32_t, int) override {
    out = changes;
    return !refused;
  }
};

/// Refuses names that begin with "refused".
struct PlatformLog final : platform::ILogBackend, Noting {
  using Noting::Noting;
  bool WriteLog(const std::string&, const TarnPlatform::Log::COperationLogStruct& line) override {
    return Note("log", line.GetVallog_type(), line.GetValelement_name() + "/" + line.GetValdescription()) &&
           !line.GetValelement_name().starts_with("refused");
  }
};

struct System final : platform::ISystemBackend {
  std::optional<int> standard = 1;
  std::string directory = "/nowhere/";
  std::string SystemGuid() override { return "SYSTEM-GUID"; }
  bool ServerStandards(int& out) override {
    out = standard.value_or(out);
    return standard.has_value();
  }
  std::string ExecutableDirectory() override { return directory; }
  std::string AESKey() override { return "0123456789abcdef"; }
};

/// An object in its slot.
template <class Object, class Interface>
struct Installed {
  template <class... Arguments>
  explicit Installed(Arguments&... arguments) : object(std::make_shared<Object>(arguments...)) {}
  Object* operator->() const { return object.get(); }

  std::shared_ptr<Object> object;
  platform::ScopedBackend<Interface> slot{object};
};

/// Installs the whole platform for the life of an object.
class Platform {
 public:
  Platform() {
    platform::SetLogThreshold(1);
    adapter->bus = bus;
    adapter->permissions = permissions;
    adapter->elements = elements;
    adapter->devices = elements;
    adapter->system_and_log = system_and_log;
  }
  ~Platform() { platform::SetLogThreshold(3); }
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  Calls calls;
  Installed<evidence_test::LogRecorder, platform::ILogSink> sink;
  Installed<Database, kelp::IDBManager> db{calls};
  Installed<Threads, kelp::IThreadManager> threads{calls};
  Installed<Language, kelp::IMultiLanguageMgr> language{calls};
  Installed<Comm, plugin_comm::IPluginCommManager> comm{calls};
  Installed<PlatformLog, platform::ILogBackend> log{calls};
  Installed<Increments, platform::IIncreResourceBackend> increments;
  Installed<System, platform::ISystemBackend> system;
  Installed<Adapter, kelp::IPlatformAdapterInterface> adapter;
  std::shared_ptr<Bus> bus = std::make_shared<Bus>(calls);
  std::shared_ptr<Permissions> permissions = std::make_shared<Permissions>();
  std::shared_ptr<SystemAndLog> system_and_log = std::make_shared<SystemAndLog>(calls);
  std::shared_ptr<evidence_test::ElementsStub> elements = std::make_shared<evidence_test::ElementsStub>();
};

}  // namespace scripted
