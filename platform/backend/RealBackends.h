#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Backend.h"
#include "Beginnings.h"

/// The objects a host installs.
namespace platform {

struct PostgresOptions {
  /// Any libpq connection string.
  std::string connection;
  /// How long a caller waits for a free connection.
  std::chrono::milliseconds acquire_timeout{30'000};
  /// What statements are called in platform::Metrics.
  Beginnings statements = Beginnings();
};

/// kelp::IDBManager on PostgreSQL. When a call (platform::Call) that reads is cancelled, its running text that begins
/// with SELECT is ended on the server, and its later ones fail without being sent.
class IPooledDatabase : public kelp::IDBManager {
 public:
  /// How long callers have been waiting at any pool without one of them getting a connection; 0 when none waits.
  virtual std::chrono::milliseconds StarvedFor() = 0;
  /// The number of connections of the largest pool of a plugin; 0 without one. The platform's own is none of a plugin.
  virtual std::size_t MostConnections() = 0;
};
PLATFORM_API std::shared_ptr<IPooledDatabase> MakePostgresDBManager(PostgresOptions options);

/// kelp::IThreadManager on real threads.
PLATFORM_API std::shared_ptr<kelp::IThreadManager> MakeThreadManager();

/// kelp::IMultiLanguageMgr on JSON files.
PLATFORM_API std::shared_ptr<kelp::IMultiLanguageMgr> MakeMultiLanguageMgr();

/// plugin_comm::IPluginCommManager inside this process.
PLATFORM_API std::shared_ptr<plugin_comm::IPluginCommManager> MakePluginCommManager();

/// The routes registered by plugins. Paths are compared by segments, so that "/A/" differs from "/A"; a segment "ID"
/// matches a decimal 32-bit number. A registration is refused when the url does not begin with "/", the callback is
/// empty, or the method is already registered there. The callback of a url is that of its first registration.
/// Thread-safe.
class IRouteTable : public kelp::IMsgBus {
 public:
  struct Match {
    kelp::UrlCallback callback;
    std::vector<std::int32_t> url_ids;
  };
  /// The callback of `path` with the numbers at its ID segments; none when no route matches. A literal segment takes
  /// precedence over ID.
  virtual std::optional<Match> Find(std::string_view path) const = 0;
};
PLATFORM_API std::shared_ptr<IRouteTable> MakeRouteTable();

/// kelp::ISystemAndLogAPI, the increments and the operation log, on the tables of schema platform. They use the pools
/// of kelp::IDBManager under `kPlatformDbId`, which the host initializes.
inline constexpr char kPlatformDbId[] = "platform";
PLATFORM_API std::shared_ptr<kelp::ISystemAndLogAPI> MakeSystemAndLogApi();
PLATFORM_API std::shared_ptr<IIncreResourceBackend> MakeIncreResourceBackend();
PLATFORM_API std::shared_ptr<ILogBackend> MakeLogBackend();

/// The version of the last change of a dictionary that this process made or found: whoever has seen the dictionaries
/// after this call misses no change that is newer. Reads the tables once after each change; none when they cannot be
/// read. Waits for the database.
PLATFORM_API std::optional<std::uint64_t> NewestChangeVersion();

/// How lines of the log are written: as text, or each as an object of JSON.
enum class LogFormat { kText, kJson };

/// Writes lines to a file (standard error when `path` is empty), in the order in which they come. They gather for up to
/// 20 ms, `queue_lines` of them at most; a line of level kLogFailure or more is written when its call returns, and with
/// it all lines before. When there is no room, callers wait; while nothing could be written for a second, nobody does,
/// the oldest lines are dropped and their number is logged. A line break inside a text is followed by a TAB, so
/// that no text can start a line of its own. A text of more than 64 KiB is truncated and marked as such. A line reads
/// "<UTC time with milliseconds>Z <level> <tag> <text>", or is one object of JSON. A file that was moved or removed is
/// made again, with mode 0600, within a second. Null when the file cannot be opened. The sink's destructor writes what
/// is queued.
PLATFORM_API std::shared_ptr<ILogSink> MakeFileLogSink(const std::string& path, std::size_t queue_lines,
                                                       LogFormat format = LogFormat::kText);

/// From now on a signal that ends the process, by a fault of its own or by SIGTERM and its like, ends it only when the
/// lines of the sink made last are written, as far as its file takes them. Signals that have a handler or are ignored
/// are left alone, and all of them in a program built with a sanitizer, which has handlers of its own.
PLATFORM_API void HandleFatalSignals();

}  // namespace platform
