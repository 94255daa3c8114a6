#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

/// HTTP as it is: methods, paths, queries, statuses, headers and streams. One table has the routes of the host and of
/// its plugins; what is registered on kelp::IMsgBus has its own contract beside it.
namespace platform {

using HttpFields = std::vector<std::pair<std::string, std::string>>;

/// The value of the first field of that name, compared exactly; none without one.
[[nodiscard]] PLATFORM_API std::optional<std::string_view> FieldOf(const HttpFields& fields, std::string_view name);

/// The same as a number of decimal digits, between 0 and the largest int64; none for anything else, too.
[[nodiscard]] PLATFORM_API std::optional<std::int64_t> NumberIn(const HttpFields& fields, std::string_view name);

/// The body of a request of a route that streams, as it arrives. Used by the thread that runs the route.
class HttpBodyReader {
 public:
  virtual ~HttpBodyReader() = default;
  /// Waits for bytes and copies up to `size` of them; 0 at the end of the body. -1 when no more will come: the client
  /// has gone, was too slow, or sent more than the route's limit.
  [[nodiscard]] virtual std::int64_t Read(char* to, std::size_t size) = 0;
  /// Ends the reading: a Read that waits and all later ones return -1. Any thread may call it.
  virtual void Break() {}
};

struct HttpRequest {
  std::string method;
  /// As sent, without the query.
  std::string path;
  /// What stands for the `{names}` of the route's path, percent-decoded, in their order.
  HttpFields values;
  /// Percent-decoded, in the order in which they were sent.
  HttpFields query;
  /// Names in lower case.
  HttpFields headers;
  /// The handle of the caller's session, as TarnPlatform::Authentication takes it. Empty only on a route that anybody
  /// may call.
  std::string session;
  /// Where the request comes from, without port.
  std::string client_address;
  std::string request_id;
  /// The body comes over TLS, or never leaves the machine.
  bool is_private = false;
  /// Empty on a route that streams.
  std::string body;
  /// Null on a route that does not stream.
  HttpBodyReader* reader = nullptr;

  /// NumberIn of what stands for the names of the path.
  [[nodiscard]] PLATFORM_API std::optional<std::int64_t> NumberOf(std::string_view name) const;
};

/// A part of an open file; owns its descriptor.
class PLATFORM_API HttpFile : public Orv::Base::CNoncopyable {
 public:
  HttpFile(int fd, std::uint64_t offset, std::uint64_t size) : fd_(fd), offset_(offset), size_(size) {}
  ~HttpFile();

  /// The descriptor, which the caller owns from now on.
  [[nodiscard]] int Release() { return std::exchange(fd_, -1); }
  [[nodiscard]] std::uint64_t offset() const { return offset_; }
  [[nodiscard]] std::uint64_t size() const { return size_; }

 private:
  int fd_;
  const std::uint64_t offset_;
  const std::uint64_t size_;
};

/// Where a writer puts the body of its answer.
class HttpSink {
 public:
  virtual ~HttpSink() = default;
  /// Takes all of `text`; waits while the client does not. False when the client has gone or is too slow: the writer
  /// should end.
  [[nodiscard]] virtual bool Write(std::string_view text) = 0;
};

/// Writes a body of unknown size on the thread of the route, after its status and headers. False cuts the answer off,
/// so that the client sees that it is not whole.
using HttpWriter = std::function<bool(HttpSink&)>;

/// An error as an RFC 9457 problem document; the host adds type, title, status and request_id.
struct HttpProblem {
  /// A stable word for programs, such as "no_session".
  std::string code;
  /// A sentence for people.
  std::string detail;
};

struct HttpResponse {
  unsigned status = 200;
  /// Of a text, file or writer with a body.
  std::string content_type = "application/json";
  HttpFields headers;
  std::variant<std::string, HttpProblem, std::shared_ptr<HttpFile>, HttpWriter> body;

  /// `text` is a JSON document, or empty for an answer without a body.
  [[nodiscard]] PLATFORM_API static HttpResponse Json(unsigned status, std::string text);
  [[nodiscard]] PLATFORM_API static HttpResponse Problem(unsigned status, std::string code, std::string detail);
};

/// Who may call a route. A super user may call all.
struct HttpAccess {
  enum class Who { kAnybody, kSession, kRole };
  Who who = Who::kSession;
  /// Of kRole: any one of these.
  std::vector<std::string> roles;
};

/// Which threads run a route.
enum class HttpPool {
  kRequests,
  /// Few threads, for what hashes passwords.
  kLogins,
  /// One thread that nothing else holds up.
  kState,
  /// For bodies and answers that stream: a thread each while they last.
  kStreams,
  /// The thread of all connections. The function must not block, and gets no body.
  kConnections,
};

struct HttpRoute {
  /// Upper case. A GET route answers HEAD, too.
  std::string method;
  /// Literal segments, and `{name}` for any one segment. A literal one goes before a name.
  std::string path;
  HttpAccess access;
  HttpPool pool = HttpPool::kRequests;
  /// Largest body in bytes; 0 for a route without one.
  std::uint64_t body_limit = 0;
  /// The body goes to HttpRequest::reader as it arrives.
  bool streams = false;
  /// The caller may have to change the password first, and may call this nevertheless.
  bool before_new_password = false;
  std::function<HttpResponse(const HttpRequest&)> run;
};

/// The table. Routes are registered while the host and its plugins start; then it is fixed.
class PLATFORM_API IHttpRoutes {
 public:
  virtual ~IHttpRoutes() = default;

  /// The host's table; null without a host.
  [[nodiscard]] static std::shared_ptr<IHttpRoutes> Instance();

  /// Adds a route below /platform/v1/. False for a wrong one: the host then does not start, and says why.
  [[nodiscard]] virtual bool Register(HttpRoute route) = 0;

  /// Runs the callback that a plugin has registered on kelp::IMsgBus for `path`, on this thread, with the caller's
  /// session and call. `method_code` is one of kelp's. None when there is no such path or the session is empty; else
  /// the body of the answer.
  [[nodiscard]] virtual std::optional<std::string> CallPlugin(int method_code, std::string_view path,
                                                              const std::string& session, std::string body) = 0;
};

}  // namespace platform
