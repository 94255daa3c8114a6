#pragma once

#include <chrono>
#include <functional>
#include <stop_token>
#include <string>
#include <thread>

#include "DatabaseLock.h"

namespace host {

/// Keeps other hosts away from a folder, from Take to the end of this object or of the process, however it comes. No
/// child inherits it.
class FolderLock {
 public:
  FolderLock() = default;
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  /// "" or the fault, one line for the operator.
  [[nodiscard]] std::string Take(const std::string& folder);

 private:
  int fd_ = -1;
};

/// Keeps other hosts away from a database, from Take to the end of this object or of the process: two of them would
/// undo each other's caches and turns.
class DatabaseHold {
 public:
  /// `lost` is called, on a thread of this object's own, when another host has the database: this one must stop.
  DatabaseHold(std::string connection, std::function<void()> lost);

  /// Waits for another host's end for `patience`, or until a stop is asked for. "" or the fault, one line for the
  /// operator. Afterwards a lost lock is taken again in the background.
  [[nodiscard]] std::string Take(std::chrono::seconds patience);

 private:
  void Watch(const std::stop_token& stop);
  bool Regain(const std::stop_token& stop);

  platform::DatabaseLock lock_;
  const std::function<void()> lost_;
  /// Last, so that it is joined before what it uses is destroyed.
  std::jthread watcher_;
};

}  // namespace host
