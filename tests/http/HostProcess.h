#pragma once

#include <gmock/gmock.h>
#include <sys/types.h>

#include <csignal>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/Eventually.h"
#include "support/ScratchFolder.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {

/// Keys and values of a settings file; listen, data and database are filled when they are not there, database with
/// Postgres().AppConnection(), and file_strict is off, so that evidences can have files without bytes.
using SettingsMap = std::map<std::string, std::string>;

/// What a finished program left; the code -1 when a signal ended it.
struct Finished {
  int exit_code = -1;
  std::string out;
  std::string err;
};

/// Makes `folder` a data folder with the key that all hosts of the tests share, as they share a database.
void PutTestKey(const std::string& folder);

/// The evidence host as a process, with a data folder and any free port of its own, and this object as its service
/// manager. Killed at the end when it still runs.
class HostProcess {
 public:
  /// Starts the host, or with `arguments` that command; does not wait. `executable` is the built one when empty.
  explicit HostProcess(SettingsMap settings, const std::vector<std::string>& arguments = {},
                       const std::string& input = "", const std::string& executable = "");
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  /// The port once the host listens. Throws std::runtime_error with all it printed when it ends before.
  int WaitUntilListening();
  int port() const { return port_; }
  /// What it reports to its service manager next; "" when it ends, or says nothing for 60 s.
  std::string NextMessage() const;

  void Signal(int signal) const;
  /// Waits for the end; after 60 s the process is killed.
  Finished Wait();
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
Finished RunHost(const std::vector<std::string>& arguments, const std::string& input = "");

inline constexpr char kPassword[] = "correct horse";
/// Adds a user with kPassword to Postgres() unless he is there. Throws std::runtime_error.
void EnsureUser(const std::string& name, const std::vector<std::string>& options = {});
/// The super user "tester".
inline void EnsureTester() { EnsureUser("tester", {"--super"}); }

/// What `openssl enc -aes-256-cbc -pbkdf2 -a <options>` makes of `input` under the password `key`.
std::string Openssl(const std::string& options, const std::string& input, const std::string& key);

/// The status is 0 when the server closed the connection without an answer.
struct HttpReply {
  int status = 0;
  std::map<std::string, std::string> headers;
  std::string body;
};

/// One connection to 127.0.0.1 over a plain socket, so that requests of any form can be sent. Throws
/// std::runtime_error when it is refused, and when an answer takes more than 30 s.
class HttpConnection {
 public:
  /// The host sees `source` as the client's address.
  explicit HttpConnection(int port, const std::string& source = "127.0.0.1");

  /// A server that has closed already is no failure here: the reply shows it.
  void Send(std::string_view bytes) const;
  [[nodiscard]] HttpReply ReadReply() const;
  /// Status and headers; what follows them is left.
  HttpReply ReadHead() const;
  /// A whole answer in chunks: its body. Throws std::runtime_error when it ends before the last chunk.
  [[nodiscard]] std::string ReadChunks() const;
  /// Closes the connection at once, with a reset: whatever was not read is lost.
  void Reset() const;
  /// Closes this side only: the server reads the end, and may still answer.
  void EndSending() const;

 private:
  std::unique_ptr<std::iostream> stream_;
};

/// The first lines of a request; no session for an empty `session`.
std::string RequestHead(const std::string& method, const std::string& path, const std::string& session);

/// A whole request; one with an empty body has no length.
std::string RequestText(const std::string& method, const std::string& path, const std::string& session,
                        const std::string& body = "");

/// One request on a connection of its own.
HttpReply Ask(int port, const std::string& method, const std::string& path, const std::string& session,
              const std::string& body = "");

/// The body of a login.
std::string LoginText(const std::string& name, const std::string& password);

struct OpenedSession {
  std::string id;
  std::string key;
};
/// Logs in with kPassword. Throws std::runtime_error when it is refused.
OpenedSession Login(int port, const std::string& name = "tester");

inline constexpr int kThreads = 16;

/// `work` on kThreads threads at once.
template <class Work>
void OnManyThreads(const Work& work) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&work] { work(); });
}

}  // namespace evidence_test
