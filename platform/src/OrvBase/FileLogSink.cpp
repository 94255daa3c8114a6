#include <algorithm>
#include <exception>
#include <memory>
#include <string>

#include "FatalSignals.h"
#include "LogLine.h"
#include "LogWriter.h"
#include "OrvBase/Log.h"
#include "RealBackends.h"

namespace platform {
namespace {

class FileLogSink final : public ILogSink {
 public:
  FileLogSink(const std::string& path, std::size_t queue_lines, LogFormat format)
      : format_(format), writer_(path, queue_lines, format) {}

  void Write(int level, std::string_view tag, std::string_view text) override {
    KeepSignalStack();
    const auto line = LogLine(format_, level, tag, text);
    level < Orv::Base::kLogFailure ? writer_.Append(line) : writer_.AppendAndWrite(line);
  }

  bool Reopen() override { return writer_.Reopen(); }

 private:
  const LogFormat format_;
  LogWriter writer_;
};

}  // namespace

std::shared_ptr<ILogSink> MakeFileLogSink(const std::string& path, std::size_t queue_lines, LogFormat format) {
  try {
    return std::make_shared<FileLogSink>(path, std::max<std::size_t>(queue_lines, 1), format);
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace platform
