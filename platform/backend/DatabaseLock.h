#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "OrvBase/Export.h"

namespace platform {

/// The lock of a database that one running host holds, on a connection of its own, for as long as that connection
/// lasts. The server notices within seconds when the host's machine has gone. Not thread-safe.
class PLATFORM_API DatabaseLock {
 public:
  enum class State {
    kHeld,
    kHeldByAnother,
    /// The database cannot be reached, or the server has not yet noticed the end of this object's last connection.
    kUnknown,
  };

  /// `connection` is any libpq connection string; one that leads through a pooler of transactions holds no lock.
  explicit DatabaseLock(std::string connection);
  ~DatabaseLock();
  DatabaseLock(const DatabaseLock&) = delete;
  DatabaseLock& operator=(const DatabaseLock&) = delete;

  /// Connects unless connected, and takes the lock unless it is held; waits for neither longer than some seconds.
  [[nodiscard]] State Take();

  /// Watches the connection for `time`: false as soon as it is lost, and the lock with it.
  [[nodiscard]] bool IsKept(std::chrono::milliseconds time);

  /// Why the last Take gave kUnknown; one line.
  [[nodiscard]] const std::string& Fault() const;

 private:
  class Connection;
  const std::unique_ptr<Connection> connection_;
};

}  // namespace platform
