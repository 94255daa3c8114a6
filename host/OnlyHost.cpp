#include "OnlyHost.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "HostLog.h"
#include "Stopping.h"

namespace host {
namespace {

using State = platform::DatabaseLock::State;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenTries{200};
/// Between two looks at whether the watch is to end.
constexpr std::chrono::milliseconds kWatch{200};

}  // namespace

FolderLock::~FolderLock() {
  if (fd_ >= 0) close(fd_);
}

std::string FolderLock::Take(const std::string& folder) {
  const auto file = folder + "/host.lock";
  const auto fault = [&file] { return file + ": " + std::generic_category().message(errno); };
  fd_ = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd_ < 0) return fault();
  if (flock(fd_, LOCK_EX | LOCK_NB) == 0) return {};
  return errno == EWOULDBLOCK ? "another host uses the data folder " + folder : fault();
}

DatabaseHold::DatabaseHold(std::string connection, std::function<void()> lost)
    : lock_(std::move(connection)), lost_(std::move(lost)) {}

std::string DatabaseHold::Take(std::chrono::seconds patience) {
  const auto deadline = Clock::now() + patience;
  bool told = false;
  for (;;) {
    const auto state = lock_.Take();
    if (state == State::kHeld) break;
    if (Clock::now() >= deadline || Stopping::Instance().IsAsked()) {
      if (state == State::kHeldByAnother) return "another host works on this database";
      return "the lock of the database cannot be taken: " + lock_.Fault();
    }
    if (!std::exchange(told, true)) {
      LogHost(kLogProgress, "another host may work on this database: waiting %lld s for its end",
              static_cast<long long>(patience.count()));
    }
    std::this_thread::sleep_for(kBetweenTries);
  }
  watcher_ = std::jthread([this](const std::stop_token& stop) { Watch(stop); });
  return {};
}

void DatabaseHold::Watch(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    if (lock_.IsKept(kWatch)) continue;
    LogHost(kLogAnomaly, "the lock of the database was lost: %s", lock_.Fault().c_str());
    if (!Regain(stop)) return;
  }
}

/// False when the watch is over.
bool DatabaseHold::Regain(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    const auto state = lock_.Take();
    if (state == State::kHeld) {
      LogHost(kLogProgress, "the lock of the database was taken again");
      return true;
    }
    if (state == State::kHeldByAnother) {
      LogHost(kLogFatal, "another host works on this database now: this one stops");
      lost_();
      return false;
    }
    std::this_thread::sleep_for(kBetweenTries);
  }
  return false;
}

}  // namespace host
