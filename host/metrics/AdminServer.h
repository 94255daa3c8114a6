#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "http/ListenAddress.h"

struct MHD_Daemon;

namespace host {

/// What operators' programs ask, on an address and a thread of its own, without a session, and whatever the requests
/// of clients keep busy: GET /metrics, /live and /ready, one after the other.
class AdminServer {
 public:
  /// `is_ready` and the sources of platform::Metrics are asked on this object's thread.
  explicit AdminServer(std::function<bool()> is_ready) : is_ready_(std::move(is_ready)) {}
  ~AdminServer();
  AdminServer(const AdminServer&) = delete;
  AdminServer& operator=(const AdminServer&) = delete;

  /// Serves on an address such as "127.0.0.1:8081". "" or the fault, one line.
  [[nodiscard]] std::string Start(const std::string& address);

  /// The address served on, with its actual port.
  [[nodiscard]] const std::string& address() const { return socket_.text(); }

  struct Answer {
    unsigned status = 200;
    std::string body;
    const char* content_type = "application/json";
  };

 private:
  [[nodiscard]] Answer AnswerTo(std::string_view method, std::string_view path) const;
  friend struct AdminCallbacks;

  const std::function<bool()> is_ready_;
  ListenSocket socket_;
  MHD_Daemon* daemon_ = nullptr;
};

}  // namespace host
