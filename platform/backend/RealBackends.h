#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Backend.h"

/// The objects a host installs.
namespace platform {

struct PostgresOptions {
  /// Any libpq connection string.
  std::string connection;
  /// How long a caller waits for a connection to come free.
  std::chrono::milliseconds acquire_timeout{30'000};
};

/// kelp::IDBManager on PostgreSQL.
PLATFORM_API std::shared_ptr<kelp::IDBManager> MakePostgresDBManager(PostgresOptions options);

/// kelp::IThreadManager on real threads.
PLATFORM_API std::shared_ptr<kelp::IThreadManager> MakeThreadManager();

/// kelp::IMultiLanguageMgr on JSON files.
PLATFORM_API std::shared_ptr<kelp::IMultiLanguageMgr> MakeMultiLanguageMgr();

/// plugin_comm::IPluginCommManager inside this process.
PLATFORM_API std::shared_ptr<plugin_comm::IPluginCommManager> MakePluginCommManager();

/// Routes as the plugins registered them. Paths are compared by segments, so that "/A/" is another path than "/A"; a
/// segment "ID" stands for a decimal 32-bit number. A registration is refused when the url does not begin
/// with "/", the callback is empty, or the method is already registered there. The callback of a url is that of
/// its first registration. All operations may be called on any thread.
class IRouteTable : public kelp::IMsgBus {
 public:
  struct Match {
    kelp::UrlCallback callback;
    std::vector<std::int32_t> url_ids;
  };
  /// The callback of `path` with the numbers at its ID segments; none when no route has that path. A
  /// path of words wins over one with ID.
  virtual std::optional<Match> Find(std::string_view path) const = 0;
};
PLATFORM_API std::shared_ptr<IRouteTable> MakeRouteTable();

/// kelp::ISystemAndLogAPI, the increments and the log of operations, on the tables of schema platform. They
/// use the pools that kelp::IDBManager keeps under `kPlatformDbId`, which the host initializes.
inline constexpr char kPlatformDbId[] = "platform";
PLATFORM_API std::shared_ptr<kelp::ISystemAndLogAPI> MakeSystemAndLogApi();
PLATFORM_API std::shared_ptr<IIncreResourceBackend> MakeIncreResourceBackend();
PLATFORM_API std::shared_ptr<ILogBackend> MakeLogBackend();

/// Lines to a file (or to standard error when `path` is empty), asynchronous over a bounded queue: when
/// it is full the oldest lines are given up, and their number is reported. A line break inside a text is
/// followed by a TAB, so that no text can begin a line of its own. A text of more than 64 KiB is cut, and tells so.
/// A line reads "<UTC time with milliseconds>Z <level> <tag> <text>". Null when the file cannot be opened. The sink's
/// end writes what is queued.
PLATFORM_API std::shared_ptr<ILogSink> MakeFileLogSink(const std::string& path, std::size_t queue_lines);

}  // namespace platform
