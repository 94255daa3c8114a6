#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <string_view>

namespace evidence_test {

struct HttpReply {
  /// 0 when the server closed the connection without an answer.
  int status = 0;
  std::map<std::string, std::string> headers;
  std::string body;
};

/// One connection to 127.0.0.1 over a plain socket, so that requests of any form can be sent. Throws
/// std::runtime_error when it is refused, and when an answer takes more than 30 s.
class HttpConnection {
 public:
  explicit HttpConnection(int port);
  ~HttpConnection() { std::fclose(input_); }
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  /// A server that has closed already is no failure: the reply tells.
  void Send(std::string_view bytes) const;
  [[nodiscard]] HttpReply ReadReply() const;
  [[nodiscard]] int fd() const { return fileno(input_); }

 private:
  std::FILE* const input_;
};

/// The first lines of a request; no session for an empty `session`.
std::string RequestHead(const std::string& method, const std::string& path, const std::string& session);

/// A whole request with a Content-Length; without one for an empty body.
std::string RequestText(const std::string& method, const std::string& path, const std::string& session,
                        const std::string& body = "");

/// One request on a connection of its own.
HttpReply Ask(int port, const std::string& method, const std::string& path, const std::string& session,
              const std::string& body = "");

}  // namespace evidence_test
