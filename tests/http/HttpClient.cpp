#include "http/HttpClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <sstream>
#include <stdexcept>

namespace evidence_test {
namespace {

constexpr timeval kPatience{30, 0};

/// -1 when refused.
int Connect(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof(kPatience));
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof(kPatience));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return fd;
  close(fd);
  return -1;
}

std::string Lower(std::string text) {
  for (char& letter : text)
    letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  return text;
}

std::string RequestHead(const std::string& method, const std::string& path, const std::string& session) {
  std::string head = method + " " + path + " HTTP/1.1\r\nHost: test\r\n";
  if (!session.empty()) head += "Authorization: Bearer " + session + "\r\n";
  return head;
}

HttpReply ParseHead(const std::string& head) {
  HttpReply reply;
  std::istringstream lines(head);
  std::string version;
  lines >> version >> reply.status;
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    const auto colon = line.find(": ");
    if (colon == std::string::npos) continue;
    if (line.ends_with('\r')) line.pop_back();
    reply.headers[Lower(line.substr(0, colon))] = line.substr(colon + 2);
  }
  return reply;
}

}  // namespace

HttpConnection::HttpConnection(int port) : fd_(Connect(port)) {
  if (fd_ < 0) throw std::runtime_error("no connection to port " + std::to_string(port));
}

HttpConnection::~HttpConnection() { close(fd_); }

bool HttpConnection::Accepts(int port) {
  const int fd = Connect(port);
  if (fd >= 0) close(fd);
  return fd >= 0;
}

void HttpConnection::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto sent = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

bool HttpConnection::Receive() {
  std::array<char, 65536> buffer;
  const auto count = recv(fd_, buffer.data(), buffer.size(), 0);
  if (count > 0) received_.append(buffer.data(), static_cast<std::size_t>(count));
  return count > 0;
}

HttpReply HttpConnection::ReadReply(bool with_body) {
  std::size_t end = 0;
  while ((end = received_.find("\r\n\r\n")) == std::string::npos) {
    if (!Receive()) return {};
  }
  auto reply = ParseHead(received_.substr(0, end + 2));
  received_.erase(0, end + 4);
  if (!with_body) return reply;
  const std::size_t length = reply.headers.contains("content-length") ? std::stoul(reply.headers["content-length"]) : 0;
  while (received_.size() < length) {
    if (!Receive()) return {};
  }
  reply.body = received_.substr(0, length);
  received_.erase(0, length);
  return reply;
}

bool HttpConnection::IsClosedByServer() {
  char byte = 0;
  const auto count = recv(fd_, &byte, 1, 0);
  return received_.empty() && (count == 0 || (count < 0 && errno == ECONNRESET));
}

std::string RequestText(const std::string& method, const std::string& path, const std::string& session,
                        const std::string& body) {
  const auto length = body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n";
  return RequestHead(method, path, session) + length + "\r\n" + body;
}

std::string ChunkedRequestText(const std::string& method, const std::string& path, const std::string& session,
                               const std::string& body) {
  std::ostringstream size;
  size << std::hex << body.size();
  return RequestHead(method, path, session) + "Transfer-Encoding: chunked\r\n\r\n" + size.str() + "\r\n" + body +
         "\r\n0\r\n\r\n";
}

HttpReply Ask(int port, const std::string& method, const std::string& path, const std::string& session,
              const std::string& body) {
  HttpConnection connection(port);
  connection.Send(RequestText(method, path, session, body));
  return connection.ReadReply();
}

}  // namespace evidence_test
