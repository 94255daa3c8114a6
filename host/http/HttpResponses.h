#pragma once

#include <string>
#include <vector>

struct MHD_Connection;
struct MHD_Response;

namespace host {

struct HttpAnswer;

/// Hands answers to the library. Those of 503 have few texts: each is made once, so that a host with too much to do
/// does little for what it refuses. Used by one thread.
class HttpResponses {
 public:
  /// Answers over TLS tell browsers to come back over TLS only.
  explicit HttpResponses(bool is_tls) : is_tls_(is_tls) {}
  /// After the library has answered all.
  ~HttpResponses();
  HttpResponses(const HttpResponses&) = delete;
  HttpResponses& operator=(const HttpResponses&) = delete;

  /// Sends `answer`, and closes the connection behind it when it `closes`. Those that are prepared go without the id of
  /// the request. False when there is no memory for it.
  [[nodiscard]] bool Queue(MHD_Connection& connection, HttpAnswer answer, const std::string& request_id, bool closes);

 private:
  struct Prepared {
    std::string body;
    bool closes;
    MHD_Response* response;
  };

  /// Null when there is no memory for it.
  MHD_Response* Make(HttpAnswer answer, bool closes) const;
  MHD_Response* Find(const HttpAnswer& answer, bool closes);

  const bool is_tls_;
  std::vector<Prepared> prepared_;
};

}  // namespace host
