// Clients that go on, but slowly: whether one is served to the end is a matter of its rate, not of a byte now and then.

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

#include "http/HttpServer.h"
#include "http/ListenAddress.h"

namespace evidence_test {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kSize = 6 * 1024 * 1024;
/// A client sends or takes one of these at a time and then pauses, 5 s for all.
constexpr std::size_t kPart = 64 * 1024;
constexpr auto kPause = 50ms;

/// Small buffers, so that not the kernel but the client takes and sends.
void KeepSmall(int fd, int buffer) {
  const int size = static_cast<int>(kPart);
  ASSERT_EQ(setsockopt(fd, SOL_SOCKET, buffer, &size, sizeof(size)), 0);
}

enum class What { kAnswer, kStreamedAnswer, kStreamedBody };

std::variant<host::HttpAnswer, host::HttpTask> Verdict(What what, host::WorkerPool& pool) {
  host::HttpAnswer answer;
  answer.status = 200;
  if (what == What::kAnswer) {
    answer.body.resize(kSize, 'x');
    return answer;
  }
  host::HttpTask task;
  task.pool = &pool;
  task.client = "client";
  task.streams = what == What::kStreamedBody;
  task.body_limit = task.streams ? kSize : 0;
  task.run = [answer](const std::string&, platform::HttpBodyReader* reader) mutable {
    std::string part(kPart, 'x');
    while (reader != nullptr && reader->Read(part.data(), part.size()) > 0)
      continue;
    if (reader == nullptr) {
      answer.writer = [part](platform::HttpSink& sink) {
        for (std::size_t sent = 0; sent < kSize; sent += part.size()) {
          if (!sink.Write(part)) return false;
        }
        return true;
      };
    }
    return answer;
  };
  return task;
}

int Connected(const host::ListenSocket& listening) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  KeepSmall(fd, SO_RCVBUF);
  KeepSmall(fd, SO_SNDBUF);
  const auto address = host::ParseListenAddress(listening.text());
  EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address->storage), address->length), 0);
  return fd;
}

/// All that is sent is taken, or refused from some point on.
void SendSlowly(int fd) {
  const std::string part(kPart, 'x');
  for (std::size_t sent = 0; sent < kSize; sent += part.size()) {
    if (send(fd, part.data(), part.size(), MSG_NOSIGNAL) < 0) return;
    std::this_thread::sleep_for(kPause);
  }
}

/// The bytes that came before the end.
std::size_t TakeSlowly(int fd, std::chrono::milliseconds pause) {
  std::string part(kPart, 0);
  std::size_t taken = 0;
  for (ssize_t count = 0; (count = recv(fd, part.data(), part.size(), MSG_WAITALL)) > 0;) {
    taken += static_cast<std::size_t>(count);
    std::this_thread::sleep_for(pause);
  }
  return taken;
}

/// Whether a slow client is served to its end by a server with that rate, and a patience shorter than that takes.
bool IsServed(What what, std::size_t bytes_per_second) {
  host::WorkerPool pool(1, 1);
  host::HttpOptions options;
  options.header_limit = 16'384;
  options.connections_limit = 4;
  options.idle_timeout = 2s;
  options.read_timeout = 2s;
  options.least_sent_per_second = options.least_taken_per_second = bytes_per_second;
  host::ListenSocket listening;
  std::string fault;
  EXPECT_TRUE(listening.Bind(*host::ParseListenAddress("127.0.0.1:0"), fault)) << fault;
  // What it accepts has the same.
  KeepSmall(listening.fd(), SO_SNDBUF);
  KeepSmall(listening.fd(), SO_RCVBUF);
  EXPECT_TRUE(listening.Listen(fault)) << fault;
  host::HttpServer server(options, [&](const host::HttpHead&) { return Verdict(what, pool); });
  EXPECT_TRUE(server.Start(listening.fd()));
  const int fd = Connected(listening);
  const bool sends = what == What::kStreamedBody;
  const auto head =
      "GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\nContent-Length: " + std::to_string(sends ? kSize : 0) +
      "\r\n\r\n";
  EXPECT_EQ(send(fd, head.data(), head.size(), MSG_NOSIGNAL), static_cast<ssize_t>(head.size()));
  if (sends) SendSlowly(fd);
  const auto taken = TakeSlowly(fd, sends ? 0ms : kPause);
  close(fd);
  return taken >= (sends ? 1 : kSize);
}

TEST(SlowClientTest, TheRateDecides) {
  constexpr std::size_t kBelow = 16 * 1024;
  constexpr std::size_t kAbove = 64 * 1024 * 1024;
  std::vector<std::future<bool>> served;
  for (const auto what : {What::kAnswer, What::kStreamedAnswer, What::kStreamedBody}) {
    for (const auto rate : {kBelow, kAbove})
      served.push_back(std::async(std::launch::async, [what, rate] { return IsServed(what, rate); }));
  }
  std::vector<bool> results;
  for (auto& result : served)
    results.push_back(result.get());
  EXPECT_THAT(results, testing::ElementsAre(true, false, true, false, true, false));
}

}  // namespace
}  // namespace evidence_test
