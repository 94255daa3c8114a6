#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <barrier>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include "KeyFile.h"
#include "http/HostProcess.h"
#include "http/HttpClient.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

mode_t ModeOf(const std::string& file) {
  struct stat status {};
  return stat(file.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

class KeyFileTest : public testing::Test {
 protected:
  std::string WriteKey(const std::string& text, mode_t mode = 0600) const {
    fs::remove(file_);
    folder_.Write("aes.key", text);
    chmod(file_.c_str(), mode);
    return file_;
  }

  const ScratchFolder folder_;
  const std::string file_ = folder_.path() + "/aes.key";
};

TEST_F(KeyFileTest, TheFirstStartMakesAKeyThatStays) {
  std::string key;
  const auto old_mask = umask(0777);
  const auto fault = host::OpenKeyFile(file_, key);
  umask(old_mask);
  ASSERT_EQ(fault, "");
  EXPECT_THAT(key, MatchesRegex("[A-Za-z0-9+/]{32}"));
  EXPECT_EQ(ModeOf(file_), 0600U);
  std::string again;
  EXPECT_EQ(host::OpenKeyFile(file_, again), "");
  EXPECT_EQ(again, key);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 1) << "a temporary file was left";

  const ScratchFolder other;
  EXPECT_EQ(host::OpenKeyFile(other.path() + "/aes.key", again), "");
  EXPECT_NE(again, key);
}

TEST_F(KeyFileTest, KeysOfEachLengthAreTaken) {
  for (const std::string text : {"0123456789abcdef", "0123456789abcdef01234567", "0123456789abcdef0123456789ABCDEF"}) {
    std::string key;
    EXPECT_EQ(host::OpenKeyFile(WriteKey(text), key), "");
    EXPECT_EQ(key, text);
    EXPECT_EQ(host::OpenKeyFile(WriteKey(text + "\n", 0400), key), "");
    EXPECT_EQ(key, text);
  }
}

TEST_F(KeyFileTest, ADamagedKeyIsRefusedAndNeverReplaced) {
  for (const std::string& text :
       {std::string(), std::string("\n"), std::string("0123456789abcde"), std::string("0123456789abcde\n"),
        std::string("0123456789abcdef\n\n"), std::string("0123456789abcdef\r\n"), std::string("0123456789 bcdef"),
        std::string("0123456789\0bcdef", 16),
        std::string("0123456789\xff"
                    "bcdef"),
        std::string(33, 'k'), std::string(33, 'k') + "\n", std::string(100'000, 'k')}) {
    std::string key = "old";
    EXPECT_THAT(host::OpenKeyFile(WriteKey(text), key), HasSubstr("aes.key: no key of 16, 24 or 32")) << text.size();
    EXPECT_EQ(folder_.Read("aes.key"), text);
    EXPECT_EQ(key, "old");
  }
}

TEST_F(KeyFileTest, WhatIsNoPrivateFileIsRefused) {
  std::string key;
  for (const mode_t mode : {0604U, 0640U, 0620U, 0610U, 0666U}) {
    EXPECT_THAT(host::OpenKeyFile(WriteKey("0123456789abcdef", mode), key), HasSubstr("its mode must be 0600")) << mode;
    EXPECT_EQ(ModeOf(file_), mode);
  }
  fs::remove(file_);
  ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
  EXPECT_THAT(host::OpenKeyFile(file_, key), HasSubstr("no regular file"));
  fs::remove(file_);
  fs::create_directory(file_);
  EXPECT_THAT(host::OpenKeyFile(file_, key), HasSubstr("no regular file"));
  fs::remove(file_);
  fs::create_symlink("nowhere", file_);
  EXPECT_THAT(host::OpenKeyFile(file_, key), HasSubstr("leads to a file that is not there"));
  EXPECT_THAT(host::OpenKeyFile(folder_.path() + "/absent/aes.key", key), HasSubstr("No such file or directory"));
  EXPECT_EQ(key, "");
}

TEST_F(KeyFileTest, ThoseWhoMakeItAtTheSameTimeAgree) {
  for (int round = 0; round < 20; ++round) {
    fs::remove(file_);
    constexpr std::ptrdiff_t kCallers = 4;
    std::barrier start(kCallers);
    std::vector<std::string> keys(kCallers);
    std::vector<std::string> faults(kCallers);
    std::vector<std::thread> callers;
    for (std::size_t caller = 0; caller < kCallers; ++caller) {
      callers.emplace_back([&, caller] {
        start.arrive_and_wait();
        faults[caller] = host::OpenKeyFile(file_, keys[caller]);
      });
    }
    for (auto& caller : callers)
      caller.join();
    EXPECT_EQ(std::set<std::string>(faults.begin(), faults.end()), std::set<std::string>{""});
    EXPECT_EQ(std::set<std::string>(keys.begin(), keys.end()), std::set<std::string>{folder_.Read("aes.key")});
  }
}

TEST_F(KeyFileTest, TheHostKeepsItsKeyAndHandsItToPlugins) {
  EnsureTester();
  fs::create_directory(folder_.path() + "/data");
  const HostProcess::SettingsMap settings{{"plugins", "test_echo.s.so"}, {"data", folder_.path() + "/data"}};
  std::string seen;
  for (int start = 0; start < 2; ++start) {
    HostProcess host(settings);
    const auto session = Login(host.WaitUntilListening(), "tester", kTesterPassword);
    const auto reply = Ask(host.port(), "GET", "/KeyText", session).body;
    EXPECT_EQ(host.Stop().exit_code, 0);
    EXPECT_EQ(reply, folder_.Read("data/aes.key"));
    EXPECT_TRUE(seen.empty() || reply == seen);
    seen = reply;
  }
  EXPECT_EQ(seen.size(), 32U);
  EXPECT_EQ(ModeOf(folder_.path() + "/data/aes.key"), 0600U);
  EXPECT_THAT(folder_.Read("data/evidence-host.log"), Not(HasSubstr(seen)));

  chmod((folder_.path() + "/data/aes.key").c_str(), 0644);
  HostProcess open_to_others(settings);
  const auto finished = open_to_others.Wait();
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, MatchesRegex("evidence-host: [^\n]*/aes.key: open to others [^\n]*\n"));
  EXPECT_THAT(finished.out, Not(HasSubstr("listening")));
}

}  // namespace
}  // namespace evidence_test
