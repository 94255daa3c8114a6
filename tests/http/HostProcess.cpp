#include "http/HostProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "http/HttpClient.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;

constexpr int kPatienceMs = 60'000;

/// The socket that programs started from now on tell their state.
int OpenServiceManager(const std::string& path) {
  sockaddr_un address{AF_UNIX, {}};
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) throw std::runtime_error(path);
  setenv("NOTIFY_SOCKET", path.c_str(), 1);
  return fd;
}

/// The child ends with this process.
pid_t Spawn(std::vector<std::string> arguments, const std::array<std::string, 3>& files) {
  std::vector<char*> pointers;
  for (auto& argument : arguments)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (int descriptor = 0; descriptor < 3; ++descriptor)
    dup2(open(files[static_cast<std::size_t>(descriptor)].c_str(), O_RDWR | O_CREAT, 0600), descriptor);
  execv(pointers[0], pointers.data());
  _exit(127);
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
  std::ofstream(path_ + "/" + name, std::ios::binary) << text;
  return path_ + "/" + name;
}

std::string ScratchFolder::Read(const std::string& name) const {
  std::ostringstream text;
  text << std::ifstream(path_ + "/" + name, std::ios::binary).rdbuf();
  return text.str();
}

HostProcess::HostProcess(SettingsMap settings, const std::vector<std::string>& arguments, const std::string& input,
                         const std::string& executable)
    : messages_(OpenServiceManager(folder_.path() + "/messages")) {
  settings.try_emplace("listen", "127.0.0.1:0");
  settings.try_emplace("data", folder_.path() + "/data");
  settings.try_emplace("database", Postgres().AppConnection());
  std::string text;
  for (const auto& [key, value] : settings)
    text.append(key).append(" = ").append(value).append("\n");
  std::vector<std::string> line = {executable.empty() ? EVIDENCE_HOST : executable, "--config",
                                   folder_.Write("host.conf", text)};
  line.insert(line.end(), arguments.begin(), arguments.end());
  pid_ = Spawn(line, {folder_.Write("stdin", input), folder_.path() + "/stdout", folder_.path() + "/stderr"});
  end_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
}

HostProcess::~HostProcess() {
  Stop(SIGKILL);
  close(end_);
  close(messages_);
}

std::string HostProcess::NextMessage() const {
  std::array<pollfd, 2> either{{{messages_, POLLIN, 0}, {end_, POLLIN, 0}}};
  if (poll(either.data(), either.size(), kPatienceMs) <= 0 || either[0].revents == 0) return {};
  std::array<char, 512> text{};
  return {text.data(), static_cast<std::size_t>(recv(messages_, text.data(), text.size(), 0))};
}

int HostProcess::WaitUntilListening() {
  const auto message = NextMessage();
  if (!message.starts_with("READY=1\nSTATUS=listening on ")) {
    throw std::runtime_error("the host does not listen: " + message + Stop().err);
  }
  port_ = std::stoi(message.substr(message.rfind(':') + 1));
  return port_;
}

// To -1 the signal would go to every process there is.
void HostProcess::Signal(int signal) const {
  if (pid_ > 0) kill(pid_, signal);
}

Finished HostProcess::Wait() {
  pollfd end{end_, POLLIN, 0};
  if (poll(&end, 1, kPatienceMs) <= 0) Signal(SIGKILL);
  int status = -1;
  if (pid_ > 0) waitpid(std::exchange(pid_, -1), &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder_.Read("stdout"), folder_.Read("stderr")};
}

Finished HostProcess::Stop(int signal) {
  Signal(signal);
  return Wait();
}

Finished RunHost(const std::vector<std::string>& arguments, const std::string& input, const SettingsMap& settings) {
  return HostProcess(settings, arguments, input).Wait();
}

void EnsureUser(const std::string& name, const std::vector<std::string>& options) {
  std::vector<std::string> arguments{"user", "add", name, "--password-stdin"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  const auto added = RunHost(arguments, kPassword);
  if (added.exit_code != 0 && added.err.find("already") == std::string::npos) throw std::runtime_error(added.err);
}

void EnsureTester() { EnsureUser("tester", {"--super"}); }

std::string LoginText(const std::string& name, const std::string& password) {
  return R"({"UserName":")" + name + R"(","Password":")" + password + R"("})";
}

OpenedSession Login(int port, const std::string& name) {
  const auto body = Ask(port, "POST", "/login", "", LoginText(name, kPassword)).body;
  std::smatch found;
  const std::regex form(R"re(\{"SessionID":"([0-9a-f]{64})","SessionKey":"([0-9a-f]{64})"\})re");
  if (!std::regex_match(body, found, form)) throw std::runtime_error("login: " + body);
  return {found[1], found[2]};
}

}  // namespace evidence_test
