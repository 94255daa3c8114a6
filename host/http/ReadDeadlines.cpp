#include "http/ReadDeadlines.h"

// Its tcp_info has the count of received bytes, which that of the C library lacks.
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace host {
namespace {

/// Bytes that the peer has sent so far; none when the socket does not tell.
std::optional<std::uint64_t> ReceivedBytes(int fd) {
  tcp_info info{};
  socklen_t size = sizeof(info);
  if (getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return std::nullopt;
  if (size < offsetof(tcp_info, tcpi_bytes_received) + sizeof(info.tcpi_bytes_received)) return std::nullopt;
  return info.tcpi_bytes_received;
}

}  // namespace

ReadDeadlines::ReadDeadlines() : watcher_([this](const std::stop_token& stop) { Watch(stop); }) {}

void ReadDeadlines::Set(int fd, Clock::time_point at) {
  const std::lock_guard lock(mutex_);
  deadlines_[fd] = {at, std::nullopt, {}};
}

void ReadDeadlines::SetIdle(int fd, Since since, IdleTimes times) {
  const auto before = since == Since::kOpened ? std::optional<std::uint64_t>(0) : ReceivedBytes(fd);
  const std::lock_guard lock(mutex_);
  deadlines_[fd] = {Clock::now() + times.whole, before, times.head};
}

void ReadDeadlines::Clear(int fd) {
  const std::lock_guard lock(mutex_);
  deadlines_.erase(fd);
}

void ReadDeadlines::Watch(const std::stop_token& stop) {
  // Deadlines are seconds away, so checking once a second is precise enough.
  constexpr std::chrono::seconds kPeriod{1};
  std::unique_lock lock(mutex_);
  while (!stop.stop_requested()) {
    wake_.wait_for(lock, stop, kPeriod, [] { return false; });
    const auto now = Clock::now();
    for (auto entry = deadlines_.begin(); entry != deadlines_.end();) {
      auto& [fd, deadline] = *entry;
      const bool late = IsLate(fd, deadline, now);
      // The server sees the end of the stream and closes the connection itself.
      if (late) shutdown(fd, SHUT_RDWR);
      entry = late ? deadlines_.erase(entry) : std::next(entry);
    }
  }
}

bool ReadDeadlines::IsLate(int fd, Deadline& deadline, Clock::time_point now) {
  if (deadline.received_before) {
    const auto received = ReceivedBytes(fd);
    if (received > deadline.received_before) {
      deadline.received_before.reset();
      deadline.at = std::min(deadline.at, now + deadline.head);
    }
  }
  return deadline.at <= now;
}

}  // namespace host
