#pragma once

#include <csignal>
#include <string>
#include <utility>
#include <vector>

namespace host {

/// While one lasts, SIGINT, SIGTERM and SIGHUP do not end this process: the program that it waits for is ended instead,
/// and work that must not stop halfway is finished. Made before any thread is.
class StopsHeld {
 public:
  StopsHeld();
  ~StopsHeld();
  StopsHeld(const StopsHeld&) = delete;
  StopsHeld& operator=(const StopsHeld&) = delete;

  /// Whether a stop was asked for so far.
  [[nodiscard]] bool WasAsked();

  /// Waits for the process `child` to end and gives its status; ends it when a stop is asked for.
  [[nodiscard]] int WaitFor(int child);

 private:
  sigset_t before_{};
  sigset_t held_{};
  bool asked_ = false;
};

/// A run of one of PostgreSQL's client programs, without a shell.
struct ClientProgram {
  /// Looked up in PATH, like the name of its own.
  std::string name;
  std::vector<std::string> arguments;
  /// Added to this process's environment.
  std::vector<std::pair<std::string, std::string>> environment;
  /// Its standard input and output; -1 for those of this process.
  int input = -1;
  int output = -1;
};

/// Runs it to its end. "", or one line why it failed or was stopped; it prints its own reason on standard error. It
/// ends when this process is killed.
[[nodiscard]] std::string RunClientProgram(const ClientProgram& program, StopsHeld& stops);

}  // namespace host
