#pragma once

#include <spdlog/details/null_mutex.h>
#include <spdlog/sinks/base_sink.h>

#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace platform {

/// The file of a log, opened anew when it is asked for, and within a second after another file or none stands at its
/// path. A line is in the file that was open when it came, whole. Thread-safe.
class LogFile final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  /// Throws spdlog::spdlog_ex when the file cannot be opened.
  explicit LogFile(std::string path);

  /// False, with the old file kept, when the file cannot be opened.
  [[nodiscard]] bool Reopen();

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  using File = std::unique_ptr<std::FILE, Close>;

  [[nodiscard]] File Open() const;
  [[nodiscard]] bool IsAway() const;
  void Watch(const std::stop_token& stop);

  void sink_it_(const spdlog::details::log_msg& message) override;
  void flush_() override;

  const std::string path_;
  /// Under the mutex of the base.
  File file_;
  std::mutex watch_mutex_;
  std::condition_variable_any wake_;
  /// Last, so that it is joined before what it uses is destroyed.
  std::jthread watcher_;
};

}  // namespace platform
