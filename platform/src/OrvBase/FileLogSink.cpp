#include <spdlog/async_logger.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <string>

#include "LogFile.h"
#include "OrvBase/Log.h"
#include "OrvBase/StringUtil.h"
#include "RealBackends.h"

namespace platform {
namespace {

constexpr char kLossTag[] = "platform.log";

/// Longer texts are truncated: lines contain client input, and a full queue of them must fit into memory.
constexpr std::size_t kLongestText = 64UL * 1024;

std::string LineOf(int level, std::string_view tag, std::string_view whole_text) {
  const std::string_view text = whole_text.substr(0, kLongestText);
  std::string line = std::to_string(level);
  line.reserve(line.size() + tag.size() + text.size() + 2);
  line.append(" ").append(tag).append(" ");
  for (std::size_t at = 0; at < text.size(); ++at) {
    line += text[at];
    const bool inside_crlf = text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n';
    if ((text[at] == '\n' || text[at] == '\r') && !inside_crlf) line += '\t';
  }
  if (text.size() < whole_text.size()) {
    line += Orv::Base::StringUtil::str_fmt(" [cut, %zu bytes in all]", whole_text.size());
  }
  return line;
}

/// Runs on the pool's only thread, in front of the real output: reports lost lines, and flushes whenever the queue is
/// empty, so that an idle program's last lines are on disk.
class ReportingSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
 public:
  ReportingSink(spdlog::sink_ptr output, spdlog::details::thread_pool& pool) : output_(std::move(output)), pool_(pool) {
    output_->set_formatter(
        std::make_unique<spdlog::pattern_formatter>("%Y-%m-%dT%H:%M:%S.%eZ %v", spdlog::pattern_time_type::utc, "\n"));
  }

 private:
  void sink_it_(const spdlog::details::log_msg& message) override {
    const std::size_t lost = pool_.overrun_counter();
    if (lost != reported_) {
      const std::string report =
          LineOf(Orv::Base::kLogAnomaly, kLossTag,
                 Orv::Base::StringUtil::str_fmt("%zu log lines were given up", lost - reported_));
      output_->log({message.time, {}, {}, spdlog::level::info, report});
      reported_ = lost;
    }
    output_->log(message);
    if (pool_.queue_size() == 0) output_->flush();
  }

  void flush_() override { output_->flush(); }

  const spdlog::sink_ptr output_;
  /// Outlives this object's use: the pool's own thread is the only caller.
  spdlog::details::thread_pool& pool_;
  std::size_t reported_ = 0;
};

class FileLogSink final : public ILogSink {
 public:
  /// Writes to standard error without a `file`.
  FileLogSink(std::shared_ptr<LogFile> file, std::size_t queue_lines)
      : file_(std::move(file)), pool_(std::make_shared<spdlog::details::thread_pool>(queue_lines, 1)) {
    spdlog::sink_ptr output = file_;
    if (!output) output = std::make_shared<spdlog::sinks::stderr_sink_st>();
    auto reporting = std::make_shared<ReportingSink>(std::move(output), *pool_);
    logger_ = std::make_shared<spdlog::async_logger>("evidence", std::move(reporting), pool_,
                                                     spdlog::async_overflow_policy::overrun_oldest);
    logger_->set_level(spdlog::level::trace);
  }

  void Write(int level, std::string_view tag, std::string_view text) override {
    logger_->log(spdlog::level::info, LineOf(level, tag, text));
  }

  bool Reopen() override { return !file_ || file_->Reopen(); }

 private:
  const std::shared_ptr<LogFile> file_;
  std::shared_ptr<spdlog::async_logger> logger_;
  /// Last, so that it is destroyed first: that writes what is still queued and joins the thread that uses the output.
  std::shared_ptr<spdlog::details::thread_pool> pool_;
};

}  // namespace

std::shared_ptr<ILogSink> MakeFileLogSink(const std::string& path, std::size_t queue_lines) {
  try {
    return std::make_shared<FileLogSink>(path.empty() ? nullptr : std::make_shared<LogFile>(path),
                                         std::max<std::size_t>(queue_lines, 1));
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace platform
