#pragma once

#include <sys/types.h>

#include <csignal>
#include <map>
#include <string>
#include <vector>

namespace evidence_test {

/// What a finished program left.
struct Finished {
  /// -1 when a signal ended it.
  int exit_code = -1;
  std::string out;
  std::string err;
};

/// A folder of its own, deleted at the end.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string Write(const std::string& name, const std::string& text) const;
  std::string Read(const std::string& name) const;

 private:
  std::string path_;
};

/// Keys and values of the settings file; listen, data and database are filled when they are not there, database
/// with Postgres().AppConnection().
using SettingsMap = std::map<std::string, std::string>;

/// The evidence host as a process, with a data folder and any free port of its own, and this object as its service
/// manager. Killed at the end when it still runs.
class HostProcess {
 public:
  /// Starts the host; with `arguments` it runs that command. Does not wait. `executable` is the built one when empty.
  explicit HostProcess(SettingsMap settings, const std::vector<std::string>& arguments = {},
                       const std::string& input = "", const std::string& executable = "");
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  /// Waits until the host listens and gives its port. Throws std::runtime_error with all it printed when it
  /// ends before.
  int WaitUntilListening();
  int port() const { return port_; }

  /// What it tells its service manager next; "" when it ends, or says nothing for 60 s.
  std::string NextMessage() const;

  void Signal(int signal) const;
  /// Waits for the end; after 60 s the process is killed.
  Finished Wait();
  /// Signal, and Wait.
  Finished Stop(int signal = SIGTERM);

  /// What the log file holds now; whole once the process has ended.
  std::string Log() const { return folder_.Read("data/evidence-host.log"); }

 private:
  ScratchFolder folder_;
  int messages_ = -1;
  pid_t pid_ = -1;
  /// Readable when the process has ended.
  int end_ = -1;
  int port_ = 0;
};

/// Runs a command of the host to its end.
Finished RunHost(const std::vector<std::string>& arguments, const std::string& input = "",
                 const SettingsMap& settings = {});

/// Adds a user to Postgres() unless he is there; the password is kPassword. Throws std::runtime_error.
void EnsureUser(const std::string& name, const std::vector<std::string>& options = {});
/// The super user "tester".
void EnsureTester();
inline constexpr char kPassword[] = "correct horse";

struct OpenedSession {
  std::string id;
  std::string key;
};
/// Throws std::runtime_error when the login is refused.
OpenedSession Login(int port, const std::string& name = "tester");

/// The body of a login.
std::string LoginText(const std::string& name, const std::string& password);

}  // namespace evidence_test
