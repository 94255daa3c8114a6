#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
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

/// The evidence host as a process, with a data folder and any free port of its own. Killed at the end when
/// it still runs.
class HostProcess {
 public:
  /// Keys and values of the settings file; listen, data and database are filled when they are not there, database
  /// with Postgres().AppConnection().
  using SettingsMap = std::map<std::string, std::string>;

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

  void Signal(int signal) const;
  /// Waits for the end; 60 s, then the process is killed and the code is -1.
  Finished Wait();
  /// SIGTERM, and Wait.
  Finished Stop();

  /// What the log file holds now; whole once the process has ended.
  std::string Log() const { return folder_.Read("data/evidence-host.log"); }

 private:
  bool ReadOutput(int timeout_ms);

  ScratchFolder folder_;
  pid_t pid_ = -1;
  int output_ = -1;
  std::string out_;
  int port_ = 0;
};

/// Runs a command of the host to its end.
Finished RunHost(const std::vector<std::string>& arguments, const std::string& input = "",
                 const HostProcess::SettingsMap& settings = {});

/// The session id of a login; throws std::runtime_error when it is refused.
std::string Login(int port, const std::string& name, const std::string& password);

/// Adds the super user "tester" to Postgres() unless he is there; his password is kTesterPassword.
void EnsureTester();
inline constexpr char kTesterPassword[] = "correct horse";

}  // namespace evidence_test
