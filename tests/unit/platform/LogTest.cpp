#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "OrvBase/Error.h"
#include "OrvBase/Log.h"
#include "RealBackends.h"

namespace {

using testing::MatchesRegex;

/// Leaves another failure behind, and throws.
struct SpoilingSink final : platform::ILogSink {
  void Write(int, std::string_view, std::string_view) override {
    errno = EPIPE;
    Orv::Base::Error::SetLastError({9, 9});
    throw std::runtime_error("full");
  }
};

/// A path at which the open file `descriptor` is opened once more.
std::string PathOf(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

std::string ReadToEnd(int descriptor) {
  std::string content;
  char block[4096];
  for (ssize_t size = read(descriptor, block, sizeof block); size > 0; size = read(descriptor, block, sizeof block))
    content.append(block, static_cast<std::size_t>(size));
  return content;
}

TEST(Log, LeavesTheCallersFailureAsItWas) {
  const platform::ScopedBackend<platform::ILogSink> installed(std::make_shared<SpoilingSink>());
  Orv::Base::Error::SetLastError({0, 15});
  errno = ENOENT;
  EXPECT_NO_THROW(Orv::Base::details::ITarnFormatLog(5, "tag", "line"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 15));
}

TEST(FileLogSink, AppendsOneLineForEachTextThatCannotForgeAnother) {
  const int file = memfd_create("log", 0);
  {
    const auto sink = platform::MakeFileLogSink(PathOf(file), 100);
    ASSERT_NE(sink, nullptr);
    sink->Write(5, "casefile.s.evidence", "{} failed %s");
    sink->Write(3, "t", "a\n2024-01-01T00:00:00.000Z 6 t forged\r\nb\rc");
  }
  platform::MakeFileLogSink(PathOf(file), 100)->Write(4, "t", std::string(64 * 1024, 'x') + "y");
  const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z ";
  EXPECT_THAT(ReadToEnd(file), MatchesRegex(time + "5 casefile\\.s\\.evidence \\{\\} failed %s\n" + time +
                                            "3 t a\n\t2024-01-01T00:00:00\\.000Z 6 t forged\r\n\tb\r\tc\n" + time +
                                            "4 t x+ \\[cut, 65537 bytes in all\\]\n"));
  close(file);
}

TEST(FileLogSink, ABlockedOutputHoldsNoCallerAndLossIsCounted) {
  constexpr int kLines = 20'000;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  auto sink = platform::MakeFileLogSink(PathOf(ends[1]), 16);
  close(ends[1]);
  // Comes back only when the line was flushed.
  sink->Write(3, "t", "seen");
  char first = 0;
  EXPECT_EQ(read(ends[0], &first, 1), 1);
  // Far more than the pipe takes, and nobody reads: were callers held, this loop would not end.
  for (int line = 1; line < kLines; ++line)
    sink->Write(3, "t", "line " + std::to_string(line) + std::string(100, '.'));
  std::thread ender([&] { sink.reset(); });
  const std::string received = ReadToEnd(ends[0]);
  ender.join();
  close(ends[0]);

  int written = 0;
  int lost = 0;
  std::istringstream lines(received);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t report = line.find("4 platform.log ");
    report == std::string::npos ? ++written : lost += std::stoi(line.substr(report + 15));
  }
  EXPECT_GT(lost, 0);
  EXPECT_EQ(written + lost, kLines);
  EXPECT_NE(received.find("line 19999."), std::string::npos) << "the newest lines are the ones that are kept";
}

}  // namespace
