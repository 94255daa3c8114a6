// The log on its way to a file: its lines, what becomes of them when the process ends, and outputs that take none.
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

#include "RealBackends.h"
#include "support/Eventually.h"
#include "support/ScratchFolder.h"

namespace {

using evidence_test::Eventually;
using evidence_test::ScratchFolder;
using testing::ElementsAre;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

/// A path at which the open file `descriptor` is opened once more.
std::string PathOf(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

/// The texts of a log's lines, all of tag "t".
std::vector<std::string> Texts(const std::string& log) {
  std::vector<std::string> texts;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);)
    texts.push_back(line.substr(line.find(" t ") + 3));
  return texts;
}

/// A log into a pipe, which `output` reads.
std::shared_ptr<platform::ILogSink> SinkInto(std::ifstream& output) {
  int ends[2];
  if (pipe(ends) != 0) return nullptr;
  auto sink = platform::MakeFileLogSink(PathOf(ends[1]), 16);
  output.open(PathOf(ends[0]));
  close(ends[0]);
  close(ends[1]);
  return sink;
}

/// The signal that ends a process which does this; 0 when none does.
int EndOf(const std::function<void()>& deed) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    alarm(60);
    deed();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

/// Never returns: the stack ends before.
int Deeper(int depth) {
  volatile char room[4096] = {};
  room[0] = static_cast<char>(depth);
  return depth < 0 ? 0 : Deeper(depth + 1) + room[0];
}

TEST(FileLogSink, AppendsOneLineForEachTextThatCannotForgeAnother) {
  const int file = memfd_create("log", 0);
  {
    const auto sink = platform::MakeFileLogSink(PathOf(file), 100);
    ASSERT_NE(sink, nullptr);
    sink->Write(5, "casefile.s.evidence", "{} failed %s");
    sink->Write(3, "t", "a\n2024-01-01T00:00:00.000Z 6 t forged\r\nb\tc");
  }
  platform::MakeFileLogSink(PathOf(file), 100)->Write(4, "t", std::string(64 * 1024, 'x') + "y");
  const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z ";
  std::ifstream written(PathOf(file));
  close(file);
  const std::string content{std::istreambuf_iterator<char>(written), {}};
  EXPECT_THAT(content, testing::MatchesRegex(time + "5 casefile\\.s\\.evidence \\{\\} failed %s\n" + time +
                                             "3 t a\n\t2024-01-01T00:00:00\\.000Z 6 t forged\r\n\tb\tc\n" + time +
                                             "4 t x+ \\[cut, 65537 bytes in all\\]\n"));
}

TEST(FileLogSink, ControlCharactersReachNoTerminal) {
  const std::pair<std::string, std::string> kCases[] = {
      {"a\tb \x1b[2J\x07\x7f\x80\xff", "a\tb \\x1B[2J\\x07\\x7F\x80\xff"},
      {"over\rwritten", "over\\x0Dwritten"},
      {"\xc2\x9b[m \xc2\xa0 \xc3\x9b \xc2", "\\xC2\\x9B[m \xc2\xa0 \xc3\x9b \xc2"},
      {std::string(3, '\0'), "\\x00\\x00\\x00"},
      {"", ""},
  };
  const ScratchFolder folder;
  const auto sink = platform::MakeFileLogSink(folder.path() + "/log", 16);
  std::vector<std::string> written;
  for (const auto& [text, line] : kCases) {
    sink->Write(3, "t", text);
    written.push_back(line);
  }
  sink->Write(5, "t", std::string(64 * 1024, '\x01') + "cut");
  const auto texts = Texts(folder.Read("log"));
  ASSERT_EQ(texts.size(), written.size() + 1);
  EXPECT_EQ(std::vector(texts.begin(), texts.end() - 1), written);
  EXPECT_THAT(texts.back(), testing::EndsWith("\\x01\\x01 [cut, 65539 bytes in all]"));
}

TEST(FileLogSink, EachLineHasItsTime) {
  const ScratchFolder folder;
  const auto sink = platform::MakeFileLogSink(folder.path() + "/log", 100);
  const auto time_of_line = [&] {
    sink->Write(5, "t", "line");
    const auto log = folder.Read("log");
    return log.substr(log.rfind('\n', log.size() - 2) + 1, 19);
  };
  const auto first = time_of_line();
  EXPECT_TRUE(Eventually([&] { return time_of_line() != first; })) << "a second later";
}

TEST(FileLogSink, GoesOnInTheFileThatTookThePlaceOfItsOwn) {
  const ScratchFolder folder;
  const auto sink = platform::MakeFileLogSink(folder.path() + "/log", 100);
  std::filesystem::rename(folder.Write("new", ""), folder.path() + "/log");
  EXPECT_TRUE(Eventually([&] {
    sink->Write(3, "t", "line");
    return !folder.Read("log").empty();
  }));
}

TEST(FileLogSink, APipeThatNobodyReadsIsAFailure) {
  const ScratchFolder folder;
  const auto pipe = folder.path() + "/log";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(EndOf([&] {
              if (platform::MakeFileLogSink(pipe, 100) != nullptr) std::abort();
            }),
            0);
}

TEST(FileLogSink, ABlockedOutputHoldsNoCallerAndLossIsCounted) {
  constexpr int kLines = 20'000;
  std::ifstream output;
  auto sink = SinkInto(output);
  ASSERT_NE(sink, nullptr);
  sink->Write(3, "t", "line 0");
  EXPECT_EQ(output.get(), '2') << "comes back only when the line was flushed";
  // Far more than the pipe takes, and nobody reads: were callers held, this loop would not end.
  for (int line = 1; line < kLines; ++line)
    sink->Write(3, "t", "line " + std::to_string(line) + std::string(100, '.'));
  const std::jthread ender([&] { sink.reset(); });
  int written = 0;
  int lost = 0;
  std::string last;
  for (std::string line; std::getline(output, line); last = line) {
    const std::size_t report = line.find("4 platform.log ");
    report == std::string::npos ? ++written : lost += std::stoi(line.substr(report + 15));
  }
  EXPECT_GT(lost, 0);
  EXPECT_EQ(written + lost, kLines);
  EXPECT_NE(last.find("line 19999."), std::string::npos) << "the newest lines are the ones that are kept";
}

TEST(FileLogSink, AFullQueueWaitsForItsReaderAndKeepsTheOrder) {
  constexpr int kThreads = 4;
  constexpr int kLines = 2000;
  std::ifstream output;
  auto sink = SinkInto(output);
  ASSERT_NE(sink, nullptr);
  std::vector<std::jthread> writers;
  for (int thread = 0; thread < kThreads; ++thread) {
    writers.emplace_back([&sink, thread] {
      for (int line = 0; line < kLines; ++line)
        sink->Write(3, "t", std::to_string(thread) + " " + std::to_string(line));
    });
  }
  std::jthread ender([&] {
    writers.clear();
    sink.reset();
  });
  std::vector<int> next(kThreads);
  for (std::string line; std::getline(output, line);) {
    std::istringstream text(Texts(line).front());
    std::size_t thread = 0;
    int number = -1;
    text >> thread >> number;
    ASSERT_EQ(number, next.at(thread)++) << line;
  }
  EXPECT_THAT(next, testing::Each(kLines));
}

TEST(FileLogSink, ALineWakesNobody) {
  const ScratchFolder folder;
  const auto sink = platform::MakeFileLogSink(folder.path() + "/log", 8192);
  const auto switches = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw;
  };
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const auto before = switches();
  for (int line = 0; line < 500; ++line) {
    sink->Write(4, "t", "line");
    // Time in which a woken thread would write and rest again.
    for (const auto end = Clock::now() + std::chrono::microseconds(100); Clock::now() < end;) {
    }
  }
  const auto woken = switches() - before;
  const auto rounds = (Clock::now() - start) / std::chrono::milliseconds(20);
  EXPECT_LT(woken, 2 * rounds + 40);
}

TEST(FileLogSink, AFailureIsWrittenBeforeItsCallReturns) {
  const ScratchFolder folder;
  const auto end = EndOf([&] {
    const auto sink = platform::MakeFileLogSink(folder.path() + "/log", 100);
    for (const int level : {3, 4, 5, 4, 6})
      sink->Write(level, "t", std::to_string(level));
    kill(getpid(), SIGKILL);
  });
  EXPECT_EQ(end, SIGKILL);
  EXPECT_THAT(Texts(folder.Read("log")), ElementsAre("3", "4", "5", "4", "6"));
}

TEST(FileLogSink, ASignalThatEndsTheProcessLosesNoLine) {
  if (kIsSanitized) GTEST_SKIP() << "sanitizers handle these signals";
  const struct {
    int signal;
    std::function<void()> deed;
  } kCases[] = {
      {SIGSEGV, [] { std::jthread([] { raise(SIGSEGV); }); }},
      {SIGSEGV, [] { kill(getpid(), SIGSEGV); }},
      {SIGABRT, [] { std::abort(); }},
      {SIGTERM, [] { kill(getpid(), SIGTERM); }},
  };
  for (const auto& one : kCases) {
    const ScratchFolder folder;
    EXPECT_EQ(EndOf([&] {
                const auto sink = platform::MakeFileLogSink(folder.path() + "/log", 8192);
                platform::HandleFatalSignals();
                for (int line = 0; line < 3000; ++line)
                  sink->Write(4, "t", std::to_string(line));
                one.deed();
              }),
              one.signal);
    const auto texts = Texts(folder.Read("log"));
    ASSERT_EQ(texts.size(), 3000U) << one.signal;
    EXPECT_EQ(texts.back(), "2999");
  }
  // On any thread that has logged, a stack that has ended is no hindrance.
  const ScratchFolder folder;
  EXPECT_EQ(EndOf([&] {
              const auto sink = platform::MakeFileLogSink(folder.path() + "/log", 100);
              platform::HandleFatalSignals();
              std::jthread([&] {
                sink->Write(4, "t", "deep");
                Deeper(0);
              });
            }),
            SIGSEGV);
  EXPECT_THAT(Texts(folder.Read("log")), ElementsAre("deep"));
  // A pipe that nobody reads does not hold up the end, whether or not it holds the writing thread.
  for (const int last : {4, 5}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(EndOf([&] {
                const auto sink = platform::MakeFileLogSink(PathOf(ends[1]), 8192);
                platform::HandleFatalSignals();
                for (int line = 0; line < 3000; ++line)
                  sink->Write(line < 2999 ? 4 : last, "t", std::string(100, '.'));
                std::abort();
              }),
              SIGABRT);
    close(ends[0]);
    close(ends[1]);
  }
}

TEST(FileLogSink, AFullDiskHoldsNobodyAndTheLogGoesOnAfterIt) {
  const ScratchFolder folder;
  const auto end = EndOf([&] {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit full{40, limit.rlim_max};  // a line and a piece of one
    const auto sink = platform::MakeFileLogSink(folder.path() + "/log", 16);
    setrlimit(RLIMIT_FSIZE, &full);
    for (int line = 0; line < 100; ++line)
      sink->Write(5, "t", "lost");
    setrlimit(RLIMIT_FSIZE, &limit);
    sink->Write(5, "t", "kept");
    kill(getpid(), SIGKILL);
  });
  EXPECT_EQ(end, SIGKILL);
  EXPECT_THAT(folder.Read("log"),
              testing::MatchesRegex(".* t lost\n.{6}\n.* platform\\.log 99 log lines .*\n.* t kept\n"));
}

}  // namespace
