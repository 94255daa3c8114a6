#include "http/HttpClient.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace evidence_test {
namespace {

std::FILE* Connect(int port) {
  constexpr timeval kPatience{30, 0};
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof(kPatience));
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof(kPatience));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return fdopen(fd, "r");
  close(fd);
  throw std::runtime_error("no connection to port " + std::to_string(port));
}

/// One line without its end; false at the end of the stream.
bool ReadLine(std::FILE* input, std::string& line) {
  line.clear();
  int letter = 0;
  while ((letter = std::fgetc(input)) != EOF && letter != '\n')
    line += static_cast<char>(letter);
  if (std::ferror(input) != 0 && errno == EAGAIN) throw std::runtime_error("no answer in time");
  if (line.ends_with('\r')) line.pop_back();
  return letter != EOF;
}

}  // namespace

HttpConnection::HttpConnection(int port) : input_(Connect(port)) {}

void HttpConnection::Send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const auto sent = send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

HttpReply HttpConnection::ReadReply() const {
  HttpReply reply;
  std::string line;
  if (!ReadLine(input_, line)) return reply;
  reply.status = std::stoi(line.substr(line.find(' ')));
  while (ReadLine(input_, line) && !line.empty())
    reply.headers[line.substr(0, line.find(": "))] = line.substr(line.find(": ") + 2);
  if (reply.headers.contains("Content-Length")) reply.body.resize(std::stoul(reply.headers["Content-Length"]));
  return std::fread(reply.body.data(), 1, reply.body.size(), input_) == reply.body.size() ? reply : HttpReply();
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

}  // namespace evidence_test
