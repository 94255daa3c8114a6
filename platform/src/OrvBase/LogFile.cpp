#include "LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace platform {

LogFile::LogFile(std::string path) : path_(std::move(path)) {
  Use(Open());
  if (fd() < 0) throw std::system_error(errno, std::generic_category(), path_);
}

int LogFile::Open() const {
  if (path_.empty()) return fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  // Private, as it may contain session ids. A pipe that nobody reads is an error, not something to wait for.
  const int opened = open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0600);
  if (opened >= 0) fcntl(opened, F_SETFL, O_APPEND);
  return opened;
}

bool LogFile::IsAway() const {
  struct stat opened {};
  struct stat found {};
  if (path_.empty() || !IsRegular() || fstat(fd(), &opened) != 0) return false;
  if (stat(path_.c_str(), &found) != 0) return errno == ENOENT;
  return found.st_dev != opened.st_dev || found.st_ino != opened.st_ino;
}

void LogFile::Use(int next) {
  struct stat opened {};
  is_regular_ = next >= 0 && fstat(next, &opened) == 0 && S_ISREG(opened.st_mode);
  const int former = fd_.exchange(next);
  if (former >= 0) close(former);
}

}  // namespace platform
