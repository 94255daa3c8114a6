#include "MemoryLimit.h"

#include <malloc.h>
#include <sys/sysinfo.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <string_view>

namespace host {
namespace {

constexpr std::size_t kMebibyte = 1024UL * 1024;
constexpr std::size_t kMostByDefault = 512 * kMebibyte;
constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();
constexpr int kLargeBlock = 1024 * 1024;

/// The number in `file`; kUnlimited when there is none, as in "max".
std::size_t LimitIn(const std::string& file) {
  std::ifstream stream(file);
  std::size_t bytes = 0;
  return stream >> bytes ? bytes : kUnlimited;
}

/// The least limit of the group `path` and those above it. Inside a container the path may be the one outside, which is
/// not there; the top is then the container's own.
std::size_t LeastLimit(const std::string& top, std::string path, const std::string& name) {
  std::size_t least = kUnlimited;
  for (;;) {
    least = std::min(least, LimitIn(top + path + "/" + name));
    if (path.empty()) return least;
    path.erase(path.rfind('/'));
  }
}

std::size_t GroupLimit(const std::string& root) {
  const std::string groups = root + "/sys/fs/cgroup";
  std::size_t least = kUnlimited;
  std::ifstream stream(root + "/proc/self/cgroup");
  // number:controllers:path
  for (std::string line; std::getline(stream, line);) {
    const auto first = line.find(':');
    const auto second = line.find(':', first + 1);
    if (second == std::string::npos) continue;
    const auto controllers = line.substr(first + 1, second - first - 1);
    auto path = line.substr(second + 1);
    if (!path.starts_with('/') || path == "/") path.clear();
    if (controllers.empty()) least = std::min(least, LeastLimit(groups, path, "memory.max"));
    if (("," + controllers + ",").find(",memory,") != std::string::npos)
      least = std::min(least, LeastLimit(groups + "/memory", path, "memory.limit_in_bytes"));
  }
  return least;
}

std::size_t MachineMemory(const std::string& root) {
  std::ifstream stream(root + "/proc/meminfo");
  std::string name;
  std::size_t kibibytes = 0;
  if (stream >> name >> kibibytes && name == "MemTotal:") return kibibytes * 1024;
  // A service may see nothing of /proc but processes.
  struct sysinfo machine {};
  if (!root.empty() || sysinfo(&machine) != 0) return kUnlimited;
  return std::size_t{machine.totalram} * machine.mem_unit;
}

}  // namespace

std::size_t AvailableMemory(const std::string& root) {
  const auto bytes = std::min(GroupLimit(root), MachineMemory(root));
  return bytes == kUnlimited ? 0 : bytes;
}

std::size_t MemoryForRequests(std::size_t megabytes, std::size_t available) {
  if (megabytes != 0) return megabytes * kMebibyte;
  return available == 0 ? kMostByDefault : std::min(available / 2, kMostByDefault);
}

// The allocator would otherwise keep blocks of the size of the largest that was ever freed.
void ReturnLargeBlocks() {
  mallopt(M_MMAP_THRESHOLD, kLargeBlock);
  mallopt(M_TRIM_THRESHOLD, kLargeBlock);
}

}  // namespace host
