#include "KeyFile.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "HostLog.h"
#include "PrivateFile.h"

namespace host {
namespace {

constexpr std::size_t kLongestKey = 32;

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool IsOpen() const { return fd_ >= 0; }
  int get() const { return fd_; }

 private:
  const int fd_;
};

/// Deletes a file at the end of a scope.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& path) : path_(path) {}
  ~TemporaryFile() { unlink(path_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

 private:
  const std::string& path_;
};

std::string SystemFault(const std::string& file) { return file + ": " + std::generic_category().message(errno); }

bool IsKeyText(std::string_view text) {
  return (text.size() == 16 || text.size() == 24 || text.size() == kLongestKey) &&
         std::ranges::all_of(text, [](char c) { return c > ' ' && c < '\x7f'; });
}

/// "" with `found` false when there is no file.
std::string ReadKey(const std::string& file, std::string& key, bool& found) {
  // A FIFO in place of the key file must not block the start.
  const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  found = descriptor.IsOpen() || errno != ENOENT;
  if (!descriptor.IsOpen()) return found ? SystemFault(file) : "";
  struct stat status {};
  if (fstat(descriptor.get(), &status) != 0) return SystemFault(file);
  if (!S_ISREG(status.st_mode)) return file + ": no regular file";
  if (auto fault = MakePrivate(descriptor.get(), file); !fault.empty()) return fault;
  // Room for a line feed, and for one excess byte.
  std::array<char, kLongestKey + 2> buffer{};
  const auto size = read(descriptor.get(), buffer.data(), buffer.size());
  if (size < 0) return SystemFault(file);
  std::string_view text(buffer.data(), static_cast<std::size_t>(size));
  if (text.ends_with('\n')) text.remove_suffix(1);
  const bool fits = IsKeyText(text);
  if (fits) key = text;
  OPENSSL_cleanse(buffer.data(), buffer.size());
  return fits ? "" : file + ": no key of 16, 24 or 32 printable characters; bring back the file that was there";
}

/// kLongestKey characters of the base64 alphabet; empty when the system provides no random bytes.
std::string RandomKey() {
  std::array<unsigned char, kLongestKey / 4 * 3> random{};
  std::array<unsigned char, kLongestKey + 1> text{};
  if (RAND_bytes(random.data(), static_cast<int>(random.size())) != 1) return {};
  const int size = EVP_EncodeBlock(text.data(), random.data(), static_cast<int>(random.size()));
  return {text.begin(), text.begin() + size};
}

/// Makes a new directory entry durable: if the key were lost in a power failure, the data stored with it would be
/// unreadable.
bool SyncFolder(const std::string& file) {
  auto folder = std::filesystem::path(file).parent_path();
  if (folder.empty()) folder = ".";
  const Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return descriptor.IsOpen() && fsync(descriptor.get()) == 0;
}

/// Writes a new key to a temporary file and then links it to `file`, which fails when another process was first: a
/// reader of `file` always finds a complete key.
std::string MakeKey(const std::string& file) {
  const std::string key = RandomKey();
  if (key.empty()) return file + ": the system gives no random bytes for a new key";
  std::string temporary = file + ".XXXXXX";
  const Descriptor descriptor(mkostemp(temporary.data(), O_CLOEXEC));
  if (!descriptor.IsOpen()) return SystemFault(temporary);
  const TemporaryFile cleaner(temporary);
  const bool written = fchmod(descriptor.get(), 0600) == 0 &&
                       write(descriptor.get(), key.data(), key.size()) == static_cast<ssize_t>(key.size()) &&
                       fsync(descriptor.get()) == 0;
  if (!written) return SystemFault(temporary);
  if (link(temporary.c_str(), file.c_str()) != 0) return errno == EEXIST ? "" : SystemFault(file);
  if (!SyncFolder(file)) return SystemFault(file);
  LogHost(kLogProgress, "made the key file %s", file.c_str());
  return {};
}

}  // namespace

std::string OpenKeyFile(const std::string& file, std::string& key) {
  bool found = false;
  auto fault = ReadKey(file, key, found);
  if (found) return fault;
  fault = MakeKey(file);
  if (!fault.empty()) return fault;
  fault = ReadKey(file, key, found);
  return found ? fault : file + ": leads to a file that is not there";
}

}  // namespace host
