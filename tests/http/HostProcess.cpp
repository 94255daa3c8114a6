#include "http/HostProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "KelpUtils/RapidJsonProto.h"
#include "http/HttpClient.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;

constexpr int kPatienceMs = 60'000;
constexpr char kListening[] = "evidence-host listening on ";

pid_t Spawn(std::vector<std::string> arguments, const std::string& input, int output, const std::string& errors) {
  std::vector<char*> pointers;
  for (auto& argument : arguments)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t child = -1;
  const int fault = posix_spawn(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (fault != 0) throw std::runtime_error("no process for " + arguments[0]);
  return child;
}

std::string SettingsText(const HostProcess::SettingsMap& settings) {
  std::string text;
  for (const auto& [key, value] : settings)
    text.append(key).append(" = ").append(value).append("\n");
  return text;
}

}  // namespace

ScratchFolder::ScratchFolder() : path_((fs::temp_directory_path() / "evidence-host-XXXXXX").string()) {
  if (!mkdtemp(path_.data())) throw std::runtime_error("no temporary folder " + path_);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string ScratchFolder::Write(const std::string& name, const std::string& text) const {
  const auto file = path_ + "/" + name;
  std::ofstream(file, std::ios::binary) << text;
  return file;
}

std::string ScratchFolder::Read(const std::string& name) const {
  std::ostringstream text;
  text << std::ifstream(path_ + "/" + name, std::ios::binary).rdbuf();
  return text.str();
}

HostProcess::HostProcess(SettingsMap settings, const std::vector<std::string>& arguments, const std::string& input,
                         const std::string& executable) {
  settings.try_emplace("listen", "127.0.0.1:0");
  settings.try_emplace("data", folder_.path() + "/data");
  if (!settings.contains("database")) settings["database"] = Postgres().AppConnection();
  std::vector<std::string> line = {executable.empty() ? EVIDENCE_HOST : executable, "--config",
                                   folder_.Write("host.conf", SettingsText(settings))};
  line.insert(line.end(), arguments.begin(), arguments.end());
  std::array<int, 2> pipe_ends{};
  if (pipe2(pipe_ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  output_ = pipe_ends[0];
  pid_ = Spawn(line, folder_.Write("stdin", input), pipe_ends[1], folder_.path() + "/stderr");
  close(pipe_ends[1]);
}

HostProcess::~HostProcess() {
  if (pid_ > 0) {
    Signal(SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close(output_);
}

bool HostProcess::ReadOutput(int timeout_ms) {
  pollfd descriptor{output_, POLLIN, 0};
  if (poll(&descriptor, 1, timeout_ms) <= 0) return false;
  std::array<char, 4096> buffer;
  const auto count = read(output_, buffer.data(), buffer.size());
  if (count > 0) out_.append(buffer.data(), static_cast<std::size_t>(count));
  return count > 0;
}

int HostProcess::WaitUntilListening() {
  for (;;) {
    const auto at = out_.find(kListening);
    if (at != std::string::npos && out_.find('\n', at) != std::string::npos) {
      port_ = std::stoi(out_.substr(out_.find_last_of(':', out_.find('\n', at)) + 1));
      return port_;
    }
    if (!ReadOutput(kPatienceMs)) throw std::runtime_error("the host does not listen: " + Wait().err);
  }
}

void HostProcess::Signal(int signal) const { kill(pid_, signal); }

Finished HostProcess::Wait() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
  while (ReadOutput(kPatienceMs) && std::chrono::steady_clock::now() < end) {
  }
  // A process that closed its output ends at once; one that did not is stuck.
  pollfd descriptor{output_, POLLIN, 0};
  if (poll(&descriptor, 1, 0) == 0) Signal(SIGKILL);
  int status = 0;
  waitpid(std::exchange(pid_, -1), &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out_, folder_.Read("stderr")};
}

Finished HostProcess::Stop() {
  Signal(SIGTERM);
  return Wait();
}

Finished RunHost(const std::vector<std::string>& arguments, const std::string& input,
                 const HostProcess::SettingsMap& settings) {
  return HostProcess(settings, arguments, input).Wait();
}

std::string Login(int port, const std::string& name, const std::string& password) {
  const auto reply =
      Ask(port, "POST", "/login", "", R"({"UserName":")" + name + R"(","Password":")" + password + R"("})");
  kelp::CRapidJsonProto answer;
  if (reply.status != 200 || !answer.set_str(reply.body)) throw std::runtime_error("login: " + reply.body);
  return answer.get_v("/SessionID", "");
}

void EnsureTester() {
  const auto added = RunHost({"user", "add", "tester", "--super", "--password-stdin"}, kTesterPassword);
  if (added.exit_code != 0 && added.err.find("already") == std::string::npos) throw std::runtime_error(added.err);
}

}  // namespace evidence_test
