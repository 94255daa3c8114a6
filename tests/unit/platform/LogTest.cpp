#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "OrvBase/Error.h"
#include "OrvBase/Log.h"
#include "RealBackends.h"

namespace {

namespace fs = std::filesystem;
using Orv::Base::details::IsLogLevelOn;
using Orv::Base::details::ITarnFormatLog;
using testing::ElementsAre;
using testing::MatchesRegex;

class ScopedDirectory {
 public:
  ScopedDirectory() {
    std::string name = (fs::temp_directory_path() / "platform-log-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    path_ = name;
  }
  ~ScopedDirectory() { fs::remove_all(path_); }
  ScopedDirectory(const ScopedDirectory&) = delete;
  ScopedDirectory& operator=(const ScopedDirectory&) = delete;

  std::string File(const char* name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

class ScopedThreshold {
 public:
  explicit ScopedThreshold(int level) { platform::SetLogThreshold(level); }
  ~ScopedThreshold() { platform::SetLogThreshold(3); }
  ScopedThreshold(const ScopedThreshold&) = delete;
  ScopedThreshold& operator=(const ScopedThreshold&) = delete;
};

struct RecordingSink final : platform::ILogSink {
  void Write(int level, std::string_view tag, std::string_view text) override {
    lines.push_back(std::to_string(level) + "|" + std::string(tag) + "|" + std::string(text));
    errno = EPIPE;
    Orv::Base::Error::SetLastError({9, 9});
  }
  std::vector<std::string> lines;
};

struct ThrowingSink final : platform::ILogSink {
  void Write(int, std::string_view, std::string_view) override { throw std::runtime_error("full"); }
};

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    lines.push_back(text.substr(at, end - at));
    if (end == std::string::npos) break;
    at = end + 1;
  }
  return lines;
}

std::string ContentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(Log, OnlyLinesAtTheThresholdAreFormatted) {
  const auto sink = std::make_shared<RecordingSink>();
  const platform::ScopedBackend<platform::ILogSink> installed(sink);
  EXPECT_FALSE(IsLogLevelOn(2));
  EXPECT_TRUE(IsLogLevelOn(3));
  int written = -1;
  ITarnFormatLog(2, "tag", "abc%n", &written);
  EXPECT_EQ(written, -1);
  ITarnFormatLog(3, "tag", "abc%n", &written);
  EXPECT_EQ(written, 3);

  const ScopedThreshold lower(1);
  const std::string long_text(100'000, 'x');
  ITarnFormatLog(1, "sql", "%s;", long_text.c_str());
  EXPECT_THAT(sink->lines, ElementsAre("3|tag|abc", "1|sql|" + long_text + ";"));
}

TEST(Log, LeavesTheCallersFailureAsItWas) {
  const platform::ScopedBackend<platform::ILogSink> installed(std::make_shared<RecordingSink>());
  Orv::Base::Error::SetLastError({0, 15});
  errno = ENOENT;
  ITarnFormatLog(5, "tag", "line");
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 15));
}

TEST(Log, LosesLinesQuietlyWithoutAWorkingSink) {
  EXPECT_NO_THROW(ITarnFormatLog(6, "tag", "line"));
  const platform::ScopedBackend<platform::ILogSink> installed(std::make_shared<ThrowingSink>());
  EXPECT_NO_THROW(ITarnFormatLog(6, "tag", "line"));
}

TEST(FileLogSink, WritesOneLineForEachTextThatCannotForgeAnother) {
  const ScopedDirectory directory;
  const std::string path = directory.File("host.log");
  {
    const auto sink = platform::MakeFileLogSink(path, 100);
    ASSERT_NE(sink, nullptr);
    sink->Write(5, "casefile.s.evidence", "{} failed %s");
    sink->Write(3, "t", "a\n2024-01-01T00:00:00.000Z 6 t forged\r\nb\rc");
  }
  {
    const auto appending = platform::MakeFileLogSink(path, 100);
    appending->Write(4, "t", "last");
  }
  const std::string kTime = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z ";
  EXPECT_THAT(
      LinesOf(ContentOf(path)),
      ElementsAre(MatchesRegex(kTime + "5 casefile\\.s\\.evidence \\{\\} failed %s"), MatchesRegex(kTime + "3 t a"),
                  "\t2024-01-01T00:00:00.000Z 6 t forged\r", "\tb\r\tc", MatchesRegex(kTime + "4 t last")));
}

TEST(FileLogSink, LinesAreOnDiskWhileTheSinkLives) {
  const ScopedDirectory directory;
  const std::string path = directory.File("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDWR);
  ASSERT_GE(reader, 0);
  const auto sink = platform::MakeFileLogSink(path, 10);
  sink->Write(3, "t", "seen");
  char first = 0;
  // Comes back only when the line was flushed.
  EXPECT_EQ(read(reader, &first, 1), 1);
  close(reader);
}

TEST(FileLogSink, RefusesAFileThatCannotBeOpened) {
  const ScopedDirectory directory;
  EXPECT_EQ(platform::MakeFileLogSink(directory.File(""), 10), nullptr);
}

TEST(FileLogSink, ABlockedOutputHoldsNoCallerAndLossIsCounted) {
  constexpr int kLines = 20'000;
  const ScopedDirectory directory;
  const std::string path = directory.File("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  auto sink = platform::MakeFileLogSink(path, 16);
  ASSERT_NE(sink, nullptr);
  // Far more than the pipe takes, and nobody reads: were callers held, this loop would not end.
  for (int line = 0; line < kLines; ++line)
    sink->Write(3, "t", "line " + std::to_string(line) + std::string(100, '.'));

  std::thread ender([&] { sink.reset(); });
  fcntl(reader, F_SETFL, 0);
  std::string received;
  char block[4096];
  for (ssize_t size = read(reader, block, sizeof block); size > 0; size = read(reader, block, sizeof block))
    received.append(block, static_cast<std::size_t>(size));
  ender.join();
  close(reader);

  int written = 0;
  int lost = 0;
  for (const std::string& line : LinesOf(received)) {
    const std::size_t report = line.find("4 platform.log ");
    if (report == std::string::npos) {
      ++written;
    } else {
      lost += std::stoi(line.substr(report + 15));
    }
  }
  EXPECT_GT(lost, 0);
  EXPECT_EQ(written + lost, kLines);
  // The newest lines are the ones that were kept.
  EXPECT_NE(received.find("line 19999."), std::string::npos);
}

}  // namespace
