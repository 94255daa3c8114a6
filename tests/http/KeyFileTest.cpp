#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <mutex>
#include <set>

#include "KeyFile.h"
#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "http/OnManyThreads.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class KeyFileTest : public testing::Test {
 protected:
  mode_t Mode() const { return static_cast<mode_t>(fs::status(file_).permissions()); }

  const ScratchFolder folder_;
  const std::string file_ = folder_.path() + "/aes.key";
};

TEST_F(KeyFileTest, WholeKeysInPrivateFilesAreTakenAndNothingIsReplaced) {
  const std::string key16 = "0123456789abcdef";
  const std::string no_key = "aes.key: no key of 16, 24 or 32";
  const std::string open = "its mode must be 0600";
  const struct {
    std::string text;
    std::string fault;
    mode_t mode = 0600;
  } kCases[] = {
      {key16, ""},
      {key16 + "\n", "", 0400},
      {key16 + "01234567", ""},
      {key16 + key16 + "\n", ""},
      {"", no_key},
      {key16.substr(1) + "\n", no_key},
      {key16 + "\n\n", no_key},
      {key16 + "\r\n", no_key},
      {"0123456789 bcdef", no_key},
      {std::string("0123456789\0bcdef", 16), no_key},
      {"0123456789abcde\xff", no_key},
      {key16 + key16 + "k", no_key},
      {key16, open, 0604},
      {key16, open, 0640},
      {key16, open, 0610},
  };
  for (const auto& [text, fault, mode] : kCases) {
    fs::remove(file_);
    chmod(folder_.Write("aes.key", text).c_str(), mode);
    std::string key = "old";
    const auto found = host::OpenKeyFile(file_, key);
    EXPECT_EQ(found.empty(), fault.empty()) << text;
    EXPECT_THAT(found, HasSubstr(fault));
    EXPECT_EQ(key, !fault.empty() ? "old" : text.substr(0, text.find('\n')));
    EXPECT_EQ(folder_.Read("aes.key"), text);
    EXPECT_EQ(Mode(), mode);
  }
  std::string key;
  fs::remove(file_);
  ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
  EXPECT_THAT(host::OpenKeyFile(file_, key), HasSubstr("no regular file"));
  fs::remove(file_);
  fs::create_symlink("nowhere", file_);
  EXPECT_THAT(host::OpenKeyFile(file_, key), HasSubstr("leads to a file that is not there"));
  EXPECT_THAT(host::OpenKeyFile(folder_.path() + "/absent/aes.key", key), HasSubstr("No such file or directory"));
}

TEST_F(KeyFileTest, ThoseWhoMakeItAtTheSameTimeAgree) {
  std::set<std::string> made;
  for (int round = 0; round < 20; ++round) {
    fs::remove(file_);
    std::mutex mutex;
    std::set<std::string> keys;
    OnManyThreads([&] {
      std::string key;
      const auto fault = host::OpenKeyFile(file_, key);
      const std::lock_guard lock(mutex);
      keys.insert(fault + key);
    });
    EXPECT_EQ(keys, std::set{folder_.Read("aes.key")});
    EXPECT_EQ(Mode(), 0600U);
    made.merge(keys);
  }
  EXPECT_EQ(made.size(), 20U);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 1) << "a temporary file was left";
}

TEST_F(KeyFileTest, TheHostKeepsItsKeyAndHandsItToPlugins) {
  EnsureTester();
  const SettingsMap settings{{"plugins", "test_show.s.so"}, {"data", folder_.path()}};
  std::set<std::string> keys;
  for (int start = 0; start < 2; ++start) {
    HostProcess host(settings);
    const auto session = Login(host.WaitUntilListening()).id;
    keys.insert(Ask(host.port(), "GET", "/KeyText", session).body);
    EXPECT_EQ(host.Stop().exit_code, 0);
  }
  EXPECT_EQ(keys, std::set{folder_.Read("aes.key")});
  EXPECT_EQ(Mode(), 0600U);
  EXPECT_THAT(folder_.Read("evidence-host.log"), Not(HasSubstr(*keys.begin())));
  chmod(file_.c_str(), 0644);
  const auto finished = HostProcess(settings).Wait();
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, testing::MatchesRegex("evidence-host: [^\n]*/aes.key: open to others [^\n]*\n"));
}

}  // namespace
}  // namespace evidence_test
