#include "LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

namespace platform {

LogFile::LogFile(std::string path) : path_(std::move(path)), file_(Open()) {
  if (!file_) spdlog::throw_spdlog_ex("Failed opening file " + path_, errno);
  watcher_ = std::jthread([this](const std::stop_token& stop) { Watch(stop); });
}

LogFile::File LogFile::Open() const {
  // Private, as it may contain session ids. A log may be a pipe, which is opened when there is a reader.
  const int descriptor = open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (descriptor < 0) return nullptr;
  File file(fdopen(descriptor, "ab"));
  if (!file) close(descriptor);
  return file;
}

bool LogFile::Reopen() {
  const std::lock_guard lock(mutex_);
  auto next = Open();
  if (!next) return false;
  file_ = std::move(next);
  return true;
}

/// Whether the path leads to another file than the open one. Only a regular file is moved or removed.
bool LogFile::IsAway() const {
  struct stat opened {};
  struct stat found {};
  if (fstat(fileno(file_.get()), &opened) != 0 || !S_ISREG(opened.st_mode)) return false;
  if (stat(path_.c_str(), &found) != 0) return errno == ENOENT;
  return found.st_dev != opened.st_dev || found.st_ino != opened.st_ino;
}

void LogFile::Watch(const std::stop_token& stop) {
  constexpr std::chrono::milliseconds kPeriod{400};
  std::unique_lock watch(watch_mutex_);
  while (!stop.stop_requested()) {
    wake_.wait_for(watch, stop, kPeriod, [] { return false; });
    const std::lock_guard lock(mutex_);
    if (!IsAway()) continue;
    // While it cannot be opened, the old one takes the lines.
    if (auto next = Open()) file_ = std::move(next);
  }
}

void LogFile::sink_it_(const spdlog::details::log_msg& message) {
  spdlog::memory_buf_t line;
  formatter_->format(message, line);
  if (std::fwrite(line.data(), 1, line.size(), file_.get()) != line.size()) {
    spdlog::throw_spdlog_ex("Failed writing to file " + path_, errno);
  }
}

void LogFile::flush_() {
  if (std::fflush(file_.get()) != 0) spdlog::throw_spdlog_ex("Failed flush to file " + path_, errno);
}

}  // namespace platform
