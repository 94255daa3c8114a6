#pragma once

#include <atomic>
#include <string>

namespace platform {

/// The open file of a log; standard error without a path. One thread at a time
/// uses it, but for Open, fd and IsRegular.
class LogFile {
 public:
  /// Throws std::system_error when the file cannot be opened.
  explicit LogFile(std::string path);
  ~LogFile() { Use(-1); }
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] int fd() const { return fd_.load(); }
  /// False for a pipe or a terminal, which may take nothing.
  [[nodiscard]] bool IsRegular() const { return is_regular_.load(); }

  /// A new descriptor of the file at the path, which is made when there is none; -1, with errno, when that fails. A log
  /// may be a pipe, which is opened when there is a reader.
  [[nodiscard]] int Open() const;
  /// Whether the path leads to another file than the open one. Only a regular file is moved or removed.
  [[nodiscard]] bool IsAway() const;
  /// Takes the descriptor `next` over and closes the one before.
  void Use(int next);

 private:
  const std::string path_;
  std::atomic<int> fd_ = -1;
  std::atomic<bool> is_regular_ = false;
};

}  // namespace platform
