#include "PrivateFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "HostLog.h"

namespace host {

std::string MakePrivate(int descriptor, const std::string& file) {
  constexpr mode_t kOwner = 0700;
  constexpr mode_t kOthers = 077;
  const auto fault = [&file] { return file + ": " + std::generic_category().message(errno); };
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return fault();
  if ((status.st_mode & kOthers) == 0) return {};
  if (status.st_uid != geteuid()) return file + ": open to others, and owned by another account; its mode must be 0600";
  if (fchmod(descriptor, status.st_mode & kOwner) != 0) return fault();
  LogHost(kLogAnomaly, "%s was open to others than its owner, with mode %04o: now it is not", file.c_str(),
          status.st_mode & 07777U);
  return {};
}

}  // namespace host
