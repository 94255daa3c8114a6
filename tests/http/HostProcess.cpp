#include "http/HostProcess.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <utility>

namespace evidence_test {
namespace {

using boost::asio::ip::tcp;

constexpr std::chrono::seconds kPatience{30};
constexpr int kPatienceMs = 60'000;

/// The socket to which programs report their state while the environment names it.
int OpenServiceManager(const std::string& path) {
  sockaddr_un address{AF_UNIX, {}};
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) throw std::runtime_error(path);
  setenv("NOTIFY_SOCKET", path.c_str(), 1);
  return fd;
}

/// Starts a program over the files stdin, stdout and stderr of `folder`; it ends with this process.
pid_t Spawn(std::vector<std::string> line, const std::string& folder) {
  line.insert(line.begin(), {"sh", "-c", "exec \"$@\" <stdin >stdout 2>stderr", "sh"});
  std::vector<char*> words;
  for (auto& word : line)
    words.push_back(word.data());
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (chdir(folder.c_str()) == 0) execv("/bin/sh", words.data());
  _exit(127);
}

}  // namespace

void PutTestKey(const std::string& folder) {
  std::filesystem::create_directories(folder);
  const auto file = folder + "/aes.key";
  std::ofstream(file) << "0123456789abcdef0123456789abcdef";
  std::filesystem::permissions(file, std::filesystem::perms(0600));
}

HostProcess::HostProcess(SettingsMap settings, const std::vector<std::string>& arguments, const std::string& input,
                         const std::string& executable)
    : messages_(OpenServiceManager(folder_.path() + "/messages")) {
  settings.try_emplace("listen", "127.0.0.1:0");
  if (settings.try_emplace("data", folder_.path() + "/data").second) PutTestKey(folder_.path() + "/data");
  settings.try_emplace("database", Postgres().AppConnection());
  settings.try_emplace("file_strict", "off");
  std::string text;
  for (const auto& [key, value] : settings)
    text.append(key).append(" = ").append(value).append("\n");
  folder_.Write("stdin", input);
  std::vector<std::string> line = {executable.empty() ? EVIDENCE_HOST : executable, "--config",
                                   folder_.Write("host.conf", text)};
  line.insert(line.end(), arguments.begin(), arguments.end());
  pid_ = Spawn(line, folder_.path());
  unsetenv("NOTIFY_SOCKET");
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

Finished RunHost(const std::vector<std::string>& arguments, const std::string& input) {
  return HostProcess({}, arguments, input).Wait();
}

void EnsureUser(const std::string& name, const std::vector<std::string>& options) {
  std::vector<std::string> arguments{"user", "add", name, "--password-stdin"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  const auto added = RunHost(arguments, kPassword);
  if (added.exit_code != 0 && added.err.find("already") == std::string::npos) throw std::runtime_error(added.err);
}

std::string Openssl(const std::string& options, const std::string& input, const std::string& key) {
  const ScratchFolder folder;
  const auto command = "cd " + folder.path() + "; SESSION_KEY='" + key + "' openssl enc -aes-256-cbc -pbkdf2 -a " +
                       options + " -pass env:SESSION_KEY -in in -out out";
  folder.Write("in", input);
  if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
  return folder.Read("out");
}

HttpConnection::HttpConnection(int port, const std::string& source) {
  auto stream = std::make_unique<tcp::iostream>();
  auto& socket = stream->rdbuf()->socket();
  const auto fault = [&] {
    boost::system::error_code error;
    socket.open(tcp::v4(), error);
    if (!error) socket.bind({boost::asio::ip::make_address(source), 0}, error);
    if (!error) socket.connect({boost::asio::ip::address_v4::loopback(), static_cast<std::uint16_t>(port)}, error);
    return error;
  }();
  if (fault) throw std::runtime_error("no connection to port " + std::to_string(port) + ": " + fault.message());
  stream_ = std::move(stream);
}

void HttpConnection::Reset() const {
  auto& socket = static_cast<tcp::iostream&>(*stream_).rdbuf()->socket();
  boost::system::error_code error;
  socket.set_option(boost::asio::socket_base::linger(true, 0), error);
  socket.close(error);
}

void HttpConnection::Send(std::string_view bytes) const {
  static_cast<tcp::iostream&>(*stream_).expires_after(kPatience);
  *stream_ << bytes << std::flush;
}

void HttpConnection::EndSending() const {
  static_cast<tcp::iostream&>(*stream_).socket().shutdown(tcp::socket::shutdown_send);
}

HttpReply HttpConnection::ReadHead() const {
  auto& stream = static_cast<tcp::iostream&>(*stream_);
  stream.clear();
  stream.expires_after(kPatience);
  HttpReply reply;
  std::string version;
  std::string line;
  stream >> version >> reply.status;
  std::getline(stream, line);
  while (std::getline(stream, line) && line != "\r")
    reply.headers[line.substr(0, line.find(": "))] =
        line.substr(line.find(": ") + 2, line.size() - line.find(": ") - 3);
  return reply;
}

HttpReply HttpConnection::ReadReply() const {
  auto reply = ReadHead();
  auto& stream = static_cast<tcp::iostream&>(*stream_);
  if (reply.headers.contains("Content-Length")) reply.body.resize(std::stoul(reply.headers["Content-Length"]));
  if (stream.read(reply.body.data(), static_cast<std::streamsize>(reply.body.size()))) return reply;
  if (stream.error() == boost::asio::error::operation_aborted || stream.error() == boost::asio::error::timed_out)
    throw std::runtime_error("no answer in time");
  return {};
}

std::string HttpConnection::ReadChunks() const {
  ReadHead();
  std::string body;
  std::string line;
  while (std::getline(*stream_, line)) {
    const auto size = std::stoul(line, nullptr, 16);
    const auto start = body.size();
    body.resize(start + size);
    if (!stream_->read(body.data() + start, static_cast<std::streamsize>(size)) || !std::getline(*stream_, line)) break;
    if (size == 0) return body;
  }
  throw std::runtime_error("cut off after " + std::to_string(body.size()) + " bytes");
}

std::string RequestHead(const std::string& method, const std::string& path, const std::string& session) {
  const auto login = session.empty() ? "" : "Authorization: Bearer " + session + "\r\n";
  return method + " " + path + " HTTP/1.1\r\nHost: test\r\n" + login;
}

std::string RequestText(const std::string& method, const std::string& path, const std::string& session,
                        const std::string& body) {
  const auto length = body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n";
  return RequestHead(method, path, session) + length + "\r\n" + body;
}

HttpReply Ask(int port, const std::string& method, const std::string& path, const std::string& session,
              const std::string& body) {
  const HttpConnection connection(port);
  connection.Send(RequestText(method, path, session, body));
  return connection.ReadReply();
}

std::string LoginText(const std::string& name, const std::string& password) {
  return R"({"UserName":")" + name + R"(","Password":")" + password + R"("})";
}

OpenedSession Login(int port, const std::string& name) {
  const auto body = Ask(port, "POST", "/login", "", LoginText(name, kPassword)).body;
  std::smatch found;
  const std::regex form(
      R"re(\{"SessionID":"([0-9a-f]{96})","SessionKey":"([0-9a-f]{64})"(,"MustChangePassword":true)?\})re");
  if (!std::regex_match(body, found, form)) throw std::runtime_error("login: " + body);
  return {found[1], found[2]};
}

}  // namespace evidence_test
