// What an operator gives the host: settings, users, the key file, cameras.

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <mutex>

#include "Backend.h"
#include "Database.h"
#include "KeyCheck.h"
#include "KeyFile.h"
#include "Settings.h"
#include "cameras/CameraFile.h"
#include "http/HostProcess.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

TEST(SettingsTest, EveryFaultIsNamedWithItsLine) {
  const ScratchFolder folder;
  const std::pair<std::string, std::string> lines[] = {
      {"# comment", ""},
      {"listen = nowhere", "listen is not an address and port, such as 127.0.0.1:8080 or [::1]:8080"},
      {"worker = 3", "unknown key worker"},
      {"workers = three", "workers is not a whole number"},
      {"queue = 0", "queue must be between 1 and 100000"},
      {"data = a", ""},
      {"data = b", "repeated key data"},
      {"plugin_failure = explode", "plugin_failure must be stop or continue"},
      {"just words", "not of the form key = value"},
      {"log_file = \xff\xfe", "not UTF-8, or a control character"},
      {"body_limit = 99999999999999999999", "body_limit must be between 1024 and 1073741824"},
      {"address_connections = 5",
       "unknown key address_connections; there is client_connections, where 0 is no bound and half what 0 was"},
      {"client_connections = most", "client_connections is not a whole number"},
      {"insecure_http = yes", "insecure_http must be on or off"},
      {"trusted_proxies = 192.0.2.1, proxy.example", "trusted_proxies: no address or network: proxy.example"},
      {"tls_key = k", "tls_certificate and tls_key must be set together"},
  };
  std::string text;
  std::string faults;
  int line = 0;
  for (const auto& [content, fault] : lines) {
    text += content + "\n";
    ++line;
    if (!fault.empty()) faults += folder.path() + "/bad.conf:" + std::to_string(line) + ": " + fault + "\n";
  }
  const auto bad = RunHost({"--config", folder.Write("bad.conf", text), "--check-config"});
  EXPECT_EQ(bad.exit_code, 1);
  EXPECT_EQ(bad.err, faults);
  const auto good = folder.Write("good.conf", RunHost({"--print-config"}).out);
  EXPECT_EQ(RunHost({"--config", good, "--check-config"}).exit_code, 0) << "refuses what it prints";

  auto settings = host::DefaultSettings();
  EXPECT_THAT(host::ReadSettings(settings, "database = password=a#b # a comment\nplugins = a, b,,\n", "f"),
              testing::IsEmpty());
  EXPECT_EQ(settings.database, "password=a#b");
  EXPECT_THAT(settings.PluginFiles(), testing::ElementsAre("a", "b"));
}

TEST(UserCommandTest, AddsListsAndChangesUsers) {
  Postgres().Query("TRUNCATE platform.users, platform.permissions, platform.user_roles, platform.auth_event");
  const std::string bad_password = "evidence-host: a password must [^\n]*\n";
  const struct {
    std::vector<std::string> arguments;
    std::string printed;
    std::string input = {};
  } kCases[] = {
      {{"add", "O'Neil", "--web", "7,5", "--control", "9"}, "O'Neil password: [0-9a-f]{24}\n"},
      {{"list"}, "(.|\n)*\tO'Neil\tuser\tenabled\tweb 5,7\tcs -\tcontrol 9\troles -\n"},
      {{"permissions", "O'Neil", "--cs", "1"}, ""},
      {{"permissions", "nobody"}, "evidence-host: user nobody does not exist\n"},
      {{"add", "Town\\Erik", "--super"}, "town\\\\erik password: [0-9a-f]{24}\n"},
      {{"add", "TOWN\\erik"}, "evidence-host: user town\\\\erik already exists\n"},
      {{"permissions", "TOWN\\Erik", "--control", "44"}, ""},
      {{"add", ""}, "evidence-host: a user name must have [^\n]*\n"},
      {{"add", "command line"}, "evidence-host: a user name must have [^\n]*\n"},
      {{"add", "empty", "--password-stdin"}, bad_password},
      {{"add", "short", "--password-stdin"}, bad_password, "eleven char\r\n"},
      {{"add", "common", "--password-stdin"}, bad_password, "Password2026!"},
      {{"add", "one", "--password-stdin", "--role", "operator", "--role", "custodian"}, "", "twelve chars\r\n"},
      {{"add", "two", "--role", "janitor"},
       "evidence-host: there is no role janitor, only administrator, auditor, [^\n]*\n"},
      {{"list"},
       "(.|\n)*O'Neil\tuser\tenabled\tweb -\tcs 1\tcontrol -\troles -\n.*\ttown\\\\erik\tsuper\tenabled\tweb -\tcs "
       "-\tcontrol 44\troles -\n.*\tone\tuser\tenabled\tweb -\tcs 41,44\tcontrol 43\troles custodian,operator\n"},
      {{"disable", "town\\erik"}, "evidence-host: nobody enabled would be left who may manage users\n"},
      {{"roles", "one", "--role", "administrator"}, ""},
      {{"disable", "town\\erik"}, ""},
      {{"roles", "one"}, "evidence-host: nobody enabled would be left who may manage users\n"},
      {{"enable", "TOWN\\Erik"}, ""},
      {{"roles", "one", "--role", "auditor"}, ""},
      {{"password", "one", "--must-change"}, "one password: [0-9a-f]{24}\n"},
      {{"password", "one", "--password-stdin"}, bad_password, "one"},
      {{"password", "nobody"}, "evidence-host: user nobody does not exist\n"},
      {{"sessions", "one"}, ""},
      {{"list"}, "(.|\n)*\tone\tuser\tenabled\tweb -\tcs -\tcontrol -\troles auditor\n"},
  };
  for (auto [arguments, printed, input] : kCases) {
    arguments.insert(arguments.begin(), "user");
    const auto finished = RunHost(arguments, input);
    EXPECT_THAT(finished.out + finished.err, testing::MatchesRegex(printed)) << arguments[1] << ' ' << arguments.back();
    EXPECT_EQ(finished.exit_code, finished.err.empty() ? 0 : 1);
  }
  EXPECT_EQ(
      Postgres().Value("SELECT concat(must_change_password, session_epoch) FROM platform.users WHERE name = 'one'"),
      "t2");
  EXPECT_EQ(Postgres().Value("SELECT session_epoch FROM platform.users WHERE name = 'town\\erik'"), "1");

  const auto events = RunHost({"events", "--user", "one"}).out;
  EXPECT_THAT(events,
              testing::MatchesRegex(
                  "(.|\n)*Z\tuser_added\tone\tcommand line\t-\t-\tno super user; roles custodian, operator; no "
                  "permissions of his own; new password\n[^\n]*Z\tuser_changed\tone\tcommand "
                  "line\t-\t-\troles administrator\n[^\n]*\troles auditor\n[^\n]*Z\tpassword_changed\t[^\n]*new "
                  "password, which he must change\n[^\n]*Z\tsession_ended\t[^\n]*all sessions ended\n"));
  EXPECT_EQ(RunHost({"events", "--limit", "1"}).out, events.substr(events.rfind('\n', events.size() - 2) + 1));
  EXPECT_EQ(RunHost({"events", "--since", "2999-01-01"}).out, "");
  EXPECT_THAT(RunHost({"events", "--since", "soon"}).err, HasSubstr("soon is no time"));
  const std::vector<std::string> prune{"events", "prune", "--before", "2999-01-01T00:00:00Z", "--setup-database"};
  EXPECT_THAT(RunHost({"events", "prune", "--before", "2999-01-01"}).err, HasSubstr("permission denied"));
  auto with_owner = prune;
  with_owner.push_back(Postgres().OwnerConnection());
  EXPECT_EQ(RunHost(with_owner).out, "11 events deleted\n");
  EXPECT_THAT(RunHost({"events"}).out, testing::MatchesRegex("[^\n]*\tevents_pruned\t-\tcommand line\t-\t-\t11 events "
                                                             "before 2999-01-01T00:00:00Z deleted\n"));
}

class KeyFileTest : public testing::Test {
 protected:
  mode_t Mode() const { return static_cast<mode_t>(fs::status(file_).permissions()); }

  const ScratchFolder folder_;
  const std::string file_ = folder_.path() + "/aes.key";
};

TEST_F(KeyFileTest, WholeKeysAreTakenTheirFilesMadePrivateAndNothingIsReplaced) {
  const std::string key16 = "0123456789abcdef";
  const std::string no_key = ": no key of 16, 24 or 32 printable characters; bring back the file that was there";
  const struct {
    std::string text;
    std::string fault;
    mode_t mode = 0600;
  } kCases[] = {
      {key16, ""},
      {key16 + "\n", "", 0400},
      {key16 + key16 + "\n", ""},
      {key16.substr(1) + "\n", no_key},
      {key16 + "\n\n", no_key},
      {std::string("0123456789\0bcdef", 16), no_key},
      {key16 + key16 + "k", no_key},
      {key16, "", 0644},
  };
  for (const auto& [text, fault, mode] : kCases) {
    fs::remove(file_);
    chmod(folder_.Write("aes.key", text).c_str(), mode);
    std::string key = "old";
    EXPECT_EQ(host::OpenKeyFile(file_, key), fault.empty() ? "" : file_ + fault) << text;
    EXPECT_EQ(key, !fault.empty() ? "old" : text.substr(0, text.find('\n')));
    EXPECT_EQ(folder_.Read("aes.key"), text);
    EXPECT_EQ(Mode(), mode & 0700U);
  }
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  chmod(folder_.Write("aes.key", key16).c_str(), 0644);
  ASSERT_EQ(chown(file_.c_str(), 1, 1), 0);
  std::string key;
  EXPECT_THAT(host::OpenKeyFile(file_, key), HasSubstr("owned by another account"));
  EXPECT_EQ(Mode(), 0644U);
}

TEST_F(KeyFileTest, ThoseWhoMakeItAtTheSameTimeAgree) {
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
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 1) << "a temporary file was left";
}

TEST_F(KeyFileTest, ADatabaseTakesOneOfSeveralKeys) {
  auto settings = host::DefaultSettings();
  settings.database = Postgres().AppConnection();
  ASSERT_EQ(host::OpenDatabase(settings), "");
  for (int round = 0; round < 5; ++round) {
    Postgres().Query("DELETE FROM platform.key_check");
    std::atomic<int> tried = 0;
    std::atomic<int> taken = 0;
    OnManyThreads([&] {
      const auto key = std::to_string(tried++);
      if (!host::CheckKey(key, file_).empty()) return;
      ++taken;
      EXPECT_EQ(host::CheckKey(key, file_), "") << "a later start";
    });
    EXPECT_EQ(taken, 1);
  }
  platform::Slot<kelp::IDBManager>::Exchange(nullptr);
  Postgres().Query("DELETE FROM platform.key_check");
}

TEST_F(KeyFileTest, TheHostHandsItsKeyToPluginsOnly) {
  EnsureTester();
  PutTestKey(folder_.path());
  const SettingsMap settings{{"plugins", "test_show.s.so"}, {"data", folder_.path()}};
  HostProcess host(settings);
  const auto session = Login(host.WaitUntilListening()).id;
  const auto key = folder_.Read("aes.key");
  EXPECT_EQ(Ask(host.port(), "GET", "/KeyText", session).body, key);
  EXPECT_EQ(host.Stop().exit_code, 0);
  EXPECT_THAT(folder_.Read("evidence-host.log"), Not(HasSubstr(key)));
  const auto log = folder_.path() + "/evidence-host.log";
  for (const auto& open : {file_, log})
    chmod(open.c_str(), 0644);
  HostProcess again(settings);
  again.WaitUntilListening();
  EXPECT_EQ(again.Stop().exit_code, 0);
  for (const auto& file : {file_, log}) {
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_THAT(folder_.Read("evidence-host.log"),
                HasSubstr(file + " was open to others than its owner, with mode 0644"));
  }
}

std::string Element(const std::string& members) {
  return R"({"Devices":[{"ID":1,"Type":5,"Protocol":6,"Name":"O'Neil's \\ 100%s"}],"Elements":[{"ID":7,"Name":"e"},{)" +
         members + "}]}";
}

TEST(CameraTest, ARunningHostReplacesItsListAsAWhole) {
  EnsureTester();
  const ScratchFolder folder;
  const auto load = [](const std::string& file) {
    const auto finished = RunHost({"cameras", "load", file});
    EXPECT_EQ(finished.exit_code, finished.err.empty() ? 0 : 1);
    return finished.out + finished.err;
  };
  EXPECT_EQ(load(CAMERA_SAMPLE), "3 devices, 5 elements\n");
  HostProcess host(SettingsMap{{"plugins", "test_show.s.so"}});
  const auto session = Login(host.WaitUntilListening()).id;
  const auto camera = [&](int id) { return Ask(host.port(), "GET", "/Camera/" + std::to_string(id), session).body; };
  EXPECT_EQ(camera(21), "Front door on 2 Bus 12 of protocol 3");
  EXPECT_EQ(camera(41), "Camera under repair on -1");

  std::string many = R"("ID":2147483647,"DeviceID":1,"Name":"last")";
  for (int id = 1000; id < 3000; ++id)
    many += "},{\"ID\":" + std::to_string(id) + R"(,"Name":"camera","DeviceID":1)";
  EXPECT_EQ(load(folder.Write("many.json", Element(many))), "1 devices, 2002 elements\n");
  const std::string last = "last on 1 O'Neil's \\ 100%s of protocol 6";
  EXPECT_TRUE(Eventually([&] { return camera(2147483647) == last; }));
  EXPECT_EQ(camera(21), "no such camera");
  const std::string range = ": Elements, entry 2: ID must be between 1 and 2147483647";
  const std::pair<std::string, std::string> faults[] = {
      {"{\"Devices\":[],\n\n\"Elements\":[}", ":3: no JSON"},
      {std::string(1 << 20, '['), ":1: nested more than 3 deep"},
      {std::string(host::kMaxCameraFile + 1, ' '), ": is larger than 33554432 bytes"},
      {R"({"Devices":[],"Elements":[],"Devices":[]})", ": must have exactly the keys Devices and Elements"},
      {Element(R"("Name":"e")"), ": Elements, entry 2: ID is missing"},
      {Element(R"("ID":"1")"), ": Elements, entry 2: ID is not a whole number"},
      {Element(R"("ID":0,"Name":"e")"), range},
      {Element(R"("ID":18446744073709551615,"Name":"e")"), range},
      {Element(R"("ID":8,"Name":")" + std::string(257, 'x') + "\""),
       ": Elements, entry 2: Name must have 1 to 256 characters and no control character"},
      {Element(R"("ID":8,"Name":"e","DeviceId":1)"), ": Elements, entry 2: has an unknown key"},
      {Element(R"("ID":7,"Name":"e")"), ": Elements, entry 2: ID 7 is repeated"},
      {Element(R"("ID":8,"Name":"e","DeviceID":2)"), ": Elements, entry 2: there is no device 2"},
  };
  for (const auto& [text, fault] : faults) {
    const auto bad = folder.Write("bad.json", text);
    EXPECT_EQ(load(bad), "evidence-host: " + bad + fault + "\n");
  }
  EXPECT_THAT(RunHost({"cameras", "list"}).out,
              testing::StartsWith("device\t1\ttype 5\tprotocol 6\tO'Neil's \\ 100%s\n"
                                  "element\t7\tdevice -\te\nelement\t1000\tdevice 1\tcamera\n"));
}

}  // namespace
}  // namespace evidence_test
