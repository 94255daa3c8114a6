#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>

namespace evidence_test {

struct HttpReply {
  /// 0 when the server closed the connection without an answer.
  int status = 0;
  /// Names in lower case.
  std::map<std::string, std::string> headers;
  std::string body;
};

/// One connection to 127.0.0.1 over a plain socket, so that requests of any form can be sent. Waits at most 30 s.
class HttpConnection {
 public:
  /// Throws std::runtime_error when it is refused.
  explicit HttpConnection(int port);
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  /// False when `port` refuses connections.
  static bool Accepts(int port);

  /// A server that has closed already is no failure: the reply tells.
  void Send(std::string_view bytes);
  /// An answer to HEAD tells a length but has no body.
  HttpReply ReadReply(bool with_body = true);
  /// Waits until the server closes; false when it sends something first or does not close in time.
  bool IsClosedByServer();
  int fd() const { return fd_; }

 private:
  bool Receive();

  int fd_;
  std::string received_;
};

/// The text of a request with a Content-Length; without one for an empty body. No session for an empty `session`.
std::string RequestText(const std::string& method, const std::string& path, const std::string& session,
                        const std::string& body = "");

/// `body` as one chunk and the end.
std::string ChunkedRequestText(const std::string& method, const std::string& path, const std::string& session,
                               const std::string& body);

/// One request on a connection of its own.
HttpReply Ask(int port, const std::string& method, const std::string& path, const std::string& session,
              const std::string& body = "");

}  // namespace evidence_test
