#include "http/HangUps.h"

#include <linux/sockios.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "HostLog.h"
#include "platform/Guard.h"

namespace host {
namespace {

/// The ticket of the descriptor that ends the thread.
constexpr HangUps::Ticket kEnd = 0;

/// `events` besides EPOLLERR and EPOLLHUP, which are always told.
bool Control(int epoll, int operation, int fd, std::uint32_t events, HangUps::Ticket ticket) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = ticket;
  return epoll_ctl(epoll, operation, fd, &event) == 0;
}

}  // namespace

HangUps::HangUps() : epoll_(epoll_create1(EPOLL_CLOEXEC)), end_(eventfd(0, EFD_CLOEXEC)) {
  if (epoll_ < 0 || end_ < 0 || !Control(epoll_, EPOLL_CTL_ADD, end_, EPOLLIN, kEnd)) {
    throw std::system_error(errno, std::generic_category(), "watching connections");
  }
  thread_ = std::thread([this] { Run(); });
}

HangUps::~HangUps() {
  eventfd_write(end_, 1);
  thread_.join();
  close(end_);
  close(epoll_);
}

HangUps::Ticket HangUps::Watch(int fd, Reader reader) {
  const std::lock_guard lock(mutex_);
  const auto ticket = ++last_;
  watched_[ticket] = {fd, std::make_shared<const Reader>(std::move(reader))};
  if (!Control(epoll_, EPOLL_CTL_ADD, fd, EPOLLRDHUP, ticket)) {
    LogHost(kLogAnomaly, "a connection is not watched for its client's end: %s",
            std::generic_category().message(errno).c_str());
  }
  return ticket;
}

void HangUps::Unwatch(Ticket ticket) {
  const std::lock_guard lock(mutex_);
  const auto found = watched_.find(ticket);
  if (found == watched_.end()) return;
  Control(epoll_, EPOLL_CTL_DEL, found->second.fd, 0, ticket);
  watched_.erase(found);
}

void HangUps::Run() {
  std::array<epoll_event, 64> events{};
  for (;;) {
    const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), -1);
    for (int n = 0; n < count; ++n) {
      const Ticket ticket = events[static_cast<std::size_t>(n)].data.u64;
      if (ticket == kEnd) return;
      Handle(ticket, events[static_cast<std::size_t>(n)].events);
    }
  }
}

void HangUps::Handle(Ticket ticket, std::uint32_t events) {
  const bool gone = (events & (EPOLLERR | EPOLLHUP)) != 0;
  std::shared_ptr<const Reader> reader;
  {
    const std::lock_guard lock(mutex_);
    const auto found = watched_.find(ticket);
    if (found == watched_.end()) return;
    reader = found->second.reader;
    // Each sign would be told again and again.
    Control(epoll_, gone ? EPOLL_CTL_DEL : EPOLL_CTL_MOD, found->second.fd, 0, ticket);
  }
  platform::Guard([&] { (*reader)(gone ? Sign::kGone : Sign::kEndOfStream); },
                  [](const char* reason) {
                    LogHost(kLogFailure, "a client's end is passed over: %s", reason != nullptr ? reason : "unknown");
                  });
}

void HangUps::Ask(int fd) {
  constexpr std::string_view kInterim = "HTTP/1.1 100 Continue\r\n\r\n";
  // With earlier answers still on their way there might be room for a part of it only, and the rest would be lost.
  int unsent = 0;
  if (ioctl(fd, SIOCOUTQ, &unsent) != 0 || unsent != 0) return;
  const auto sent = send(fd, kInterim.data(), kInterim.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent > 0 && static_cast<std::size_t>(sent) < kInterim.size()) shutdown(fd, SHUT_RDWR);
}

}  // namespace host
