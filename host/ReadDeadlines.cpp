#include "ReadDeadlines.h"

#include <sys/socket.h>

namespace host {

ReadDeadlines::ReadDeadlines() : watcher_([this](const std::stop_token& stop) { Watch(stop); }) {}

void ReadDeadlines::Set(int fd, std::chrono::seconds time) {
  const std::lock_guard lock(mutex_);
  deadlines_[fd] = Clock::now() + time;
}

void ReadDeadlines::Clear(int fd) {
  const std::lock_guard lock(mutex_);
  deadlines_.erase(fd);
}

void ReadDeadlines::Watch(const std::stop_token& stop) {
  // Deadlines are whole seconds, so checking once a second is precise enough.
  constexpr std::chrono::seconds kPeriod{1};
  std::unique_lock lock(mutex_);
  while (!stop.stop_requested()) {
    wake_.wait_for(lock, stop, kPeriod, [] { return false; });
    const auto now = Clock::now();
    // The server sees the end of the stream and closes the connection itself.
    std::erase_if(deadlines_, [now](const auto& entry) {
      const bool late = entry.second <= now;
      if (late) shutdown(entry.first, SHUT_RDWR);
      return late;
    });
  }
}

}  // namespace host
