#include "backup/ClientProgram.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace host {
namespace {

/// What a shell answers for a program that it does not find.
constexpr int kNotStarted = 127;

/// Pointers to the texts, and a null one after them, as exec wants them.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (auto& text : texts)
    pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> EnvironmentWith(const std::vector<std::pair<std::string, std::string>>& added) {
  std::vector<std::string> lines;
  for (char** line = environ; *line != nullptr; ++line) {
    const std::string_view name(*line, std::string_view(*line).find('='));
    const bool replaced = std::ranges::any_of(added, [name](const auto& variable) { return variable.first == name; });
    if (!replaced) lines.emplace_back(*line);
  }
  for (const auto& [name, value] : added)
    lines.push_back(name + "=" + value);
  return lines;
}

/// The child's part: only calls that are safe after a fork of a process with threads.
[[noreturn]] void Become(const ClientProgram& program, char* const* words, char* const* environment) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const bool redirected = (program.input < 0 || dup2(program.input, STDIN_FILENO) >= 0) &&
                          (program.output < 0 || dup2(program.output, STDOUT_FILENO) >= 0);
  if (redirected) execvpe(words[0], words, environment);
  _exit(kNotStarted);
}

}  // namespace

StopsHeld::StopsHeld() {
  sigemptyset(&held_);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD})
    sigaddset(&held_, signal);
  pthread_sigmask(SIG_BLOCK, &held_, &before_);
}

StopsHeld::~StopsHeld() {
  // One that was asked for is answered by the exit code; here it would still end the process.
  static_cast<void>(WasAsked());
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

bool StopsHeld::WasAsked() {
  constexpr timespec kNow{};
  for (int signal = 0; (signal = sigtimedwait(&held_, nullptr, &kNow)) > 0;)
    asked_ = asked_ || signal != SIGCHLD;
  return asked_;
}

int StopsHeld::WaitFor(int child) {
  int status = 0;
  pid_t ended = 0;
  while ((ended = waitpid(child, &status, WNOHANG)) == 0) {
    const int signal = sigwaitinfo(&held_, nullptr);
    if (signal <= 0 || signal == SIGCHLD) continue;
    asked_ = true;
    kill(child, SIGTERM);
  }
  return ended == child ? status : -1;
}

std::string RunClientProgram(const ClientProgram& program, StopsHeld& stops) {
  std::vector<std::string> line{program.name};
  line.insert(line.end(), program.arguments.begin(), program.arguments.end());
  auto variables = EnvironmentWith(program.environment);
  const auto words = Pointers(line);
  const auto environment = Pointers(variables);
  if (stops.WasAsked()) return "stopped";
  const pid_t child = fork();
  if (child == 0) Become(program, words.data(), environment.data());
  if (child < 0) return program.name + " cannot be started";
  const int status = stops.WaitFor(child);
  if (stops.WasAsked()) return "stopped";
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNotStarted) {
    return program.name + " cannot be started: the package postgresql-client has it";
  }
  return program.name + " failed";
}

}  // namespace host
