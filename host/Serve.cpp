#include "Serve.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <system_error>
#include <thread>

#include "Backends.h"
#include "Database.h"
#include "HostLog.h"
#include "KeyCheck.h"
#include "KeyFile.h"
#include "MemoryLimit.h"
#include "OnlyHost.h"
#include "PluginLoader.h"
#include "PrivateFile.h"
#include "Readiness.h"
#include "ServiceManager.h"
#include "Stopping.h"
#include "accounts/AccountStates.h"
#include "accounts/AuthEventWriter.h"
#include "accounts/Authentication.h"
#include "accounts/FailedTries.h"
#include "accounts/SessionRoutes.h"
#include "accounts/UserChanges.h"
#include "accounts/UserRoutes.h"
#include "cameras/CameraDirectory.h"
#include "http/Certificate.h"
#include "http/Gateway.h"
#include "http/HostRoutes.h"
#include "http/HttpServer.h"
#include "http/ListenAddress.h"
#include "metrics/AdminServer.h"
#include "metrics/HostFigures.h"
#include "metrics/ProcessFigures.h"
#include "platform/Crowd.h"
#include "platform/Guard.h"
#include "platform/Memory.h"
#include "requests/RequestLog.h"
#include "requests/RequestRoutes.h"

namespace host {
namespace {

using platform::Slot;

/// Requests that only read are drained within this time.
constexpr std::chrono::milliseconds kShortDrain{8'500};

void PrepareProcess(const Settings& settings) {
  Stopping::Instance().Note("the start");
  signal(SIGPIPE, SIG_IGN);
  ReturnLargeBlocks();
  platform::MemoryBudget::Process().Limit(
      MemoryForRequests(static_cast<std::size_t>(settings.memory_mb), AvailableMemory()));
  // Each connection takes a descriptor; the others are for the database, files and libraries.
  constexpr rlim_t kOtherDescriptors = 512;
  const auto wanted = static_cast<rlim_t>(settings.connections_limit) + kOtherDescriptors;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < wanted) {
    limit.rlim_cur = std::min(wanted, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

std::optional<std::string> FileText(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  if (!stream || !(text << stream.rdbuf())) return std::nullopt;
  return text.str();
}

std::shared_ptr<LoginTries> MakeLoginTries(const Settings& settings) {
  const std::chrono::minutes freeze(settings.freeze_minutes);
  const FailedTries::Rules users{static_cast<int>(settings.user_tries), freeze};
  const FailedTries::Rules clients{static_cast<int>(settings.client_tries), freeze, settings.client_freeze == "on"};
  return std::make_shared<LoginTries>(users, clients);
}

Sessions::Rules SessionRules(const Settings& settings) {
  return {std::chrono::minutes(settings.session_idle_minutes), std::chrono::hours(settings.session_hours),
          static_cast<std::size_t>(settings.sessions_limit), static_cast<std::size_t>(settings.sessions_per_user)};
}

/// The parts of a running host, in the order of their start.
class Host {
 public:
  explicit Host(const Settings& settings) : settings_(settings) {}
  ~Host();

  /// "" or why the host cannot run.
  std::string Start();
  /// Serves until a stop signal; the exit code.
  int Run();

 private:
  std::string TakeAddress();
  std::string TakeDatabase();
  std::string PrepareDatabase();
  void InstallBackends();
  std::string StartPlugins();
  std::string StartHttp();
  std::string StartAdmin();
  platform::MetricFamilies Figures();

  const Settings& settings_;
  FolderLock folder_;
  std::atomic<bool> database_lost_ = false;
  std::optional<DatabaseHold> database_;
  std::string aes_key_;
  ListenSocket socket_;
  std::shared_ptr<Sessions> sessions_;
  std::shared_ptr<AccountStates> accounts_;
  std::jthread account_follower_;
  const std::shared_ptr<LoginTries> tries_ = MakeLoginTries(settings_);
  const std::shared_ptr<platform::IRouteTable> plugin_paths_ = platform::MakeRouteTable();
  const std::shared_ptr<RouteTable> routes_ = std::make_shared<RouteTable>(plugin_paths_);
  const std::shared_ptr<CameraDirectory> cameras_ = std::make_shared<CameraDirectory>();
  std::jthread camera_follower_;
  std::optional<AuthEventWriter> auth_events_;
  const std::shared_ptr<RouteLedger> ledger_ = std::make_shared<RouteLedger>(plugin_paths_);
  PluginLoader plugins_{*ledger_, *routes_};
  bool all_plugins_up_ = true;
  std::shared_ptr<RequestLog> requests_;
  std::optional<WorkerPool> workers_;
  std::optional<WorkerPool> login_workers_;
  std::optional<WorkerPool> ready_worker_;
  std::optional<WorkerPool> stream_workers_;
  std::optional<Readiness> readiness_;
  std::optional<Gateway> gateway_;
  const std::shared_ptr<HttpFigures> http_figures_ = std::make_shared<HttpFigures>();
  std::optional<HttpServer> http_;
  std::optional<HostFigures> figures_;
  std::optional<platform::Metrics::Registration> registration_;
  std::optional<AdminServer> admin_;
};

Host::~Host() {
  auto& stopping = Stopping::Instance();
  stopping.Note("the operators' HTTP server");
  admin_.reset();
  registration_.reset();
  stopping.Note("the HTTP server");
  http_.reset();
  stopping.Note("the workers, or a statement of theirs");
  ready_worker_.reset();
  stream_workers_.reset();
  readiness_.reset();
  login_workers_.reset();
  platform::CrowdPlace::WhenTaken({});
  workers_.reset();
  stopping.Note("the log of requests");
  if (requests_) requests_->Close();
  plugins_.StopAll([&stopping](const std::string& file) { stopping.Note("UnInit of plugin " + file); });
  stopping.Note("the list of cameras");
  camera_follower_ = {};
  stopping.Note("the accounts");
  account_follower_ = {};
  stopping.Note("the events of logins and accounts");
  auth_events_.reset();
  Slot<platform::IHttpRoutes>::Exchange(nullptr);
  Slot<kelp::IPlatformAdapterInterface>::Exchange(nullptr);
  Slot<platform::IAuthenticationBackend>::Exchange(nullptr);
  Slot<platform::IIncreResourceBackend>::Exchange(nullptr);
  Slot<platform::ILogBackend>::Exchange(nullptr);
  Slot<plugin_comm::IPluginCommManager>::Exchange(nullptr);
  Slot<kelp::IMultiLanguageMgr>::Exchange(nullptr);
  Slot<kelp::IThreadManager>::Exchange(nullptr);
  Slot<platform::ISystemBackend>::Exchange(nullptr);
}

std::string Host::Start() {
  auto fault = TakeAddress();
  if (fault.empty()) fault = folder_.Take(settings_.data);
  const auto key_file = settings_.data + "/aes.key";
  if (fault.empty()) fault = OpenKeyFile(key_file, aes_key_);
  if (fault.empty()) fault = PrepareDatabase();
  if (fault.empty()) fault = CheckKey(aes_key_, key_file);
  if (!fault.empty()) return fault;
  if (!cameras_->Refresh()) return "the cameras cannot be read";
  camera_follower_ = FollowCameras(cameras_);
  auth_events_.emplace();
  sessions_ = std::make_shared<Sessions>(aes_key_, SessionRules(settings_));
  accounts_ = std::make_shared<AccountStates>(sessions_);
  account_follower_ = FollowAccounts(accounts_);
  InstallBackends();
  fault = StartPlugins();
  if (fault.empty()) fault = routes_->Close();
  if (fault.empty()) fault = StartHttp();
  return fault.empty() ? StartAdmin() : fault;
}

std::string Host::TakeAddress() {
  const auto address = ParseListenAddress(settings_.listen);
  std::string fault;
  if (!address) return "listen is no address and port";
  fault = PlainHttpFault(settings_);
  if (!fault.empty()) return fault;
  return socket_.Bind(*address, fault) ? "" : "cannot listen on " + fault;
}

std::string Host::TakeDatabase() {
  const auto stop = [this] {
    database_lost_ = true;
    kill(getpid(), SIGTERM);
  };
  const auto& connection = settings_.direct_database.empty() ? settings_.database : settings_.direct_database;
  database_.emplace(connection, stop);
  return database_->Take(std::chrono::seconds(settings_.lock_wait_s));
}

std::string Host::PrepareDatabase() {
  const auto sql = SqlDirectory(settings_);
  if (!settings_.setup_database.empty()) {
    int version = 0;
    auto fault = SetUpSchema(settings_.setup_database, sql, version);
    if (!fault.empty()) return fault;
    LogHost(kLogProgress, "the database's schema has version %d", version);
  }
  auto fault = OpenDatabase(settings_);
  if (fault.empty()) fault = CheckSchemaVersion(sql);
  if (fault.empty()) fault = TakeDatabase();
  if (!fault.empty()) return fault;
  std::string password;
  if (!EnsureSysop(password)) return "the users cannot be read";
  if (!password.empty()) {
    std::printf("%s password: %s\n", kSysop, password.c_str());
    std::fflush(stdout);
  }
  return {};
}

void Host::InstallBackends() {
  Slot<platform::ISystemBackend>::Exchange(
      MakeSystem(static_cast<int>(settings_.server_standard), ExecutableDirectory(), aes_key_,
                 [this](std::string_view name) { return SettingText(settings_, name); }));
  Slot<kelp::IThreadManager>::Exchange(platform::MakeThreadManager());
  Slot<kelp::IMultiLanguageMgr>::Exchange(platform::MakeMultiLanguageMgr());
  Slot<plugin_comm::IPluginCommManager>::Exchange(platform::MakePluginCommManager());
  Slot<platform::ILogBackend>::Exchange(platform::MakeLogBackend());
  Slot<platform::IIncreResourceBackend>::Exchange(platform::MakeIncreResourceBackend());
  Slot<platform::IAuthenticationBackend>::Exchange(MakeAuthentication(sessions_, tries_));
  Slot<platform::IHttpRoutes>::Exchange(routes_);
  RegisterHostRoutes(*routes_, std::make_shared<const Login>(sessions_, accounts_, tries_),
                     [this] { return all_plugins_up_ && readiness_->IsReady(); });
  RegisterSessionRoutes(*routes_, sessions_);
  RegisterUserRoutes(*routes_, {sessions_, accounts_, tries_});
  RegisterEventRoutes(*routes_);
  RegisterRequestRoutes(*routes_);
  Slot<kelp::IPlatformAdapterInterface>::Exchange(
      MakeAdapter({ledger_, MakeClientPermissions(sessions_), cameras_, cameras_, platform::MakeSystemAndLogApi()}));
}

std::string Host::StartPlugins() {
  for (const auto& name : settings_.PluginFiles()) {
    const auto file = (std::filesystem::path(ExecutableDirectory()) / name).string();
    std::string fault;
    if (plugins_.Start(file, fault)) continue;
    if (settings_.plugin_failure == "stop") return fault;
    std::fprintf(stderr, "evidence-host: %s\n", fault.c_str());
    all_plugins_up_ = false;
  }
  return {};
}

std::string Host::StartHttp() {
  HttpOptions options;
  options.header_limit = static_cast<std::size_t>(settings_.header_limit);
  options.connections_limit = static_cast<unsigned>(settings_.connections_limit);
  options.client_connections = static_cast<unsigned>(settings_.ClientConnections());
  auto fault = TrustedProxies::Read(settings_.trusted_proxies, options.trusted_proxies);
  if (!fault.empty()) return "trusted_proxies: " + fault;
  options.idle_timeout = std::chrono::seconds(settings_.idle_timeout_s);
  options.read_timeout = std::chrono::seconds(settings_.read_timeout_s);
  options.figures = http_figures_;
  if (!settings_.tls_certificate.empty()) {
    const auto certificate = FileText(settings_.tls_certificate);
    const auto key = FileText(settings_.tls_key);
    if (!certificate || !key) return "tls_certificate or tls_key cannot be read";
    const auto remark = CertificateRemark(*certificate);
    if (!remark.empty()) LogHost(kLogAnomaly, "%s %s", settings_.tls_certificate.c_str(), remark.c_str());
    options.tls_certificate = *certificate;
    options.tls_key = *key;
  }
  // One that had to wait for a connection would only take the processor from those that have one.
  const auto connections = MostPluginConnections();
  const auto workers = static_cast<std::size_t>(settings_.workers);
  workers_.emplace(workers, static_cast<std::size_t>(settings_.queue), connections);
  platform::CrowdPlace::WhenTaken([this] { workers_->NoteHeldUp(); });
  // The other half is left for what nothing holds up.
  platform::CrowdPlace::Limit(std::max<std::size_t>(workers / 2, 1));
  login_workers_.emplace(static_cast<std::size_t>(settings_.login_workers),
                         static_cast<std::size_t>(settings_.login_queue));
  ready_worker_.emplace(1, static_cast<std::size_t>(settings_.connections_limit));
  stream_workers_.emplace(static_cast<std::size_t>(settings_.stream_workers),
                          static_cast<std::size_t>(settings_.queue));
  // Who would wait for a connection waits for a worker.
  const bool for_connections = connections != 0 && connections <= workers;
  readiness_.emplace(Readiness::Parts{&DatabaseAnswers, [this, for_connections] {
                                        return for_connections ? std::max(DatabaseStarvedFor(), workers_->StarvedFor())
                                                               : DatabaseStarvedFor();
                                      }});
  requests_ =
      std::make_shared<RequestLog>(settings_.database, static_cast<std::size_t>(settings_.request_log_queue),
                                   settings_.request_log == "all" ? RequestLog::What::kAll : RequestLog::What::kWrites);
  gateway_.emplace(Gateway::Parts{sessions_, routes_, plugin_paths_, &*workers_, &*login_workers_, &*ready_worker_,
                                  &*stream_workers_, static_cast<std::size_t>(settings_.body_limit), requests_});
  http_.emplace(std::move(options), [this](const HttpHead& head) { return gateway_->Admit(head); });
  if (!socket_.Listen(fault)) return "cannot listen on " + fault;
  return http_->Start(socket_.fd()) ? ""
                                    : "the HTTP server does not start; " + settings_.LogFile() + " names the reason";
}

std::string Host::StartAdmin() {
  if (settings_.admin_listen.empty()) return {};
  figures_.emplace(HostFigures::Parts{sessions_, tries_, settings_.data});
  registration_.emplace(platform::Metrics::Process(), [this] { return Figures(); });
  admin_.emplace([this] { return all_plugins_up_ && readiness_->IsReady(); });
  return admin_->Start(settings_.admin_listen);
}

platform::MetricFamilies Host::Figures() {
  auto families = http_figures_->Collect();
  const auto add = [&families](platform::MetricFamilies more) {
    families.insert(families.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
  };
  const auto load = http_->CurrentLoad();
  platform::MetricFamily queues{
      "evidence_http_queue_length", "Requests that wait for a worker.", platform::MetricType::kGauge, {}};
  const std::pair<const char*, std::size_t> kQueues[] = {{"requests", workers_->Queued()},
                                                         {"logins", login_workers_->Queued()},
                                                         {"streams", stream_workers_->Queued()},
                                                         {"line", load.in_line}};
  for (const auto& [pool, length] : kQueues)
    queues.samples.push_back({{{"pool", pool}}, static_cast<double>(length)});
  add({{"evidence_http_in_flight",
        "Requests whose head was read and whose answer is not yet sent.",
        platform::MetricType::kGauge,
        {{{}, static_cast<double>(load.in_flight)}}},
       std::move(queues)});
  add(figures_->Collect());
  add(ProcessFigures());
  return families;
}

int Host::Run() {
  const char* const scheme = settings_.tls_certificate.empty() ? "http" : "https";
  std::printf("evidence-host listening on %s://%s\n", scheme, socket_.text().c_str());
  std::fflush(stdout);
  LogHost(kLogProgress, "listening on %s://%s", scheme, socket_.text().c_str());
  if (admin_) LogHost(kLogProgress, "metrics on http://%s/metrics", admin_->address().c_str());
  TellReady("listening on " + socket_.text());
  auto& stopping = Stopping::Instance();
  stopping.Note("requests");
  const int signal = stopping.Wait();
  LogHost(kLogProgress, "stopping on signal %d", signal);
  const std::chrono::seconds drain(settings_.drain_timeout_s);
  TellStopping(drain + Stopping::kLongest);
  stopping.Allow(drain);
  const auto start = std::chrono::steady_clock::now();
  const auto drained = http_->Drain(drain);
  const int exit_code = drained.lost || database_lost_ ? 1 : 0;
  stopping.SetExitCode(exit_code);
  if (!drained.inside) {
    // When nothing was written that took time, the rest does not take the time of what might have been.
    if (std::chrono::steady_clock::now() - start < kShortDrain) stopping.Allow(std::chrono::seconds(0));
    return exit_code;
  }
  // A request is still inside a plugin, whose UnInit must not be called meanwhile.
  LogHost(kLogFatal, "requests did not end in time: the process ends without stopping its plugins");
  stopping.Note("the log of requests");
  requests_->Close();
  Stopping::End(exit_code);
}

/// What is no file, such as a pipe to a collector, keeps the rights it has; so does the file of another account.
void TightenLog(int fd, const std::string& file) {
  struct stat status {};
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return;
  const auto fault = MakePrivate(fd, file);
  if (!fault.empty()) LogHost(kLogAnomaly, "%s", fault.c_str());
}

}  // namespace

std::string OpenLog(const Settings& settings) {
  std::error_code error;
  std::filesystem::create_directories(settings.data, error);
  if (error) return settings.data + ": " + error.message();
  const auto file = settings.LogFile();
  // Created here to set its mode, as it may contain session ids, and to get the error, which the sink does not report.
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (fd < 0) return file + ": " + std::generic_category().message(errno);
  Slot<platform::ILogSink>::Exchange(platform::MakeFileLogSink(
      file, static_cast<std::size_t>(settings.log_queue),
      settings.log_format == "json" ? platform::LogFormat::kJson : platform::LogFormat::kText));
  platform::HandleFatalSignals();
  platform::SetLogThreshold(static_cast<int>(settings.log_level));
  TightenLog(fd, file);
  close(fd);
  return {};
}

int Serve(const Settings& settings) {
  PrepareProcess(settings);
  auto fault = OpenLog(settings);
  int exit_code = 1;
  if (fault.empty()) {
    Host host(settings);
    fault = platform::Guard([&host] { return host.Start(); },
                            [](const char* reason) { return std::string(reason != nullptr ? reason : "unknown"); });
    if (fault.empty()) exit_code = host.Run();
  }
  if (!fault.empty()) {
    LogHost(kLogFatal, "not started: %s", fault.c_str());
    std::fprintf(stderr, "evidence-host: %s\n", fault.c_str());
  }
  LogHost(kLogProgress, "stopped");
  auto& stopping = Stopping::Instance();
  stopping.Note("the database");
  Slot<kelp::IDBManager>::Exchange(nullptr);
  stopping.Note("the log");
  Slot<platform::ILogSink>::Exchange(nullptr);
  return exit_code;
}

}  // namespace host
