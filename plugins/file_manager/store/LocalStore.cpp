#include "store/LocalStore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>
#include <vector>

#include "FileManagerLog.h"

namespace FileManager {
namespace {

constexpr char kIncoming[] = "/incoming/";
constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;
constexpr std::size_t kReadBytes = std::size_t{1} << 20;

std::string Reason(int error) { return std::generic_category().message(error); }

StoreResult Failed(const char* what, const std::string& path, int error) {
  if (error == ENOENT) return StoreResult::kMissing;
  FILE_MANAGER_LOG(kLogFailure, "%s %s: %s", what, path.c_str(), Reason(error).c_str());
  return error == ENOSPC || error == EDQUOT ? StoreResult::kFull : StoreResult::kFailed;
}

/// A folder's entries survive a loss of power only after this.
StoreResult SyncFolder(const std::string& path) {
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.IsOpen() && fsync(folder.fd()) == 0) return StoreResult::kDone;
  return Failed("cannot sync the folder", path, errno);
}

/// Makes a folder in one that is there.
StoreResult MakeFolder(const std::string& parent, const std::string& path) {
  if (mkdir(path.c_str(), kFolderMode) == 0) return SyncFolder(parent);
  return errno == EEXIST ? StoreResult::kDone : Failed("cannot make the folder", path, errno);
}

StoreResult ReadAll(int fd, const std::string& path, const ByteSink& sink) {
  std::vector<char> buffer(kReadBytes);
  std::int64_t offset = 0;
  for (;;) {
    const auto count = pread(fd, buffer.data(), buffer.size(), offset);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Failed("cannot read", path, errno);
    if (count == 0 || !sink({buffer.data(), static_cast<std::size_t>(count)})) return StoreResult::kDone;
    offset += count;
  }
}

class LocalUnfinished final : public IUnfinished {
 public:
  LocalUnfinished(LocalStore& store, Descriptor file, std::string path, std::int64_t size)
      : store_(store), file_(std::move(file)), path_(std::move(path)), size_(size) {}

  std::int64_t Size() const override { return size_; }

  StoreResult Append(std::string_view bytes) override {
    if (!store_.HasRoom(static_cast<std::int64_t>(bytes.size()))) return StoreResult::kFull;
    while (!bytes.empty()) {
      const auto count = pwrite(file_.fd(), bytes.data(), bytes.size(), size_);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return Failed("cannot write to", path_, errno);
      size_ += count;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return StoreResult::kDone;
  }

  StoreResult Sync() override {
    return fdatasync(file_.fd()) == 0 ? StoreResult::kDone : Failed("cannot sync", path_, errno);
  }

  StoreResult ReadBack(const ByteSink& sink) override { return ReadAll(file_.fd(), path_, sink); }

 private:
  LocalStore& store_;
  const Descriptor file_;
  const std::string path_;
  std::int64_t size_;
};

}  // namespace

Descriptor::~Descriptor() {
  if (fd_ >= 0) close(fd_);
}

LocalStore::LocalStore(std::string folder, std::int64_t reserve) : folder_(std::move(folder)), reserve_(reserve) {}

std::string LocalStore::Prepare() {
  for (const auto& path : {folder_, folder_ + "/incoming"}) {
    if (mkdir(path.c_str(), kFolderMode) != 0 && errno != EEXIST) return path + ": " + Reason(errno);
    if (access(path.c_str(), R_OK | W_OK | X_OK) != 0) return path + ": " + Reason(errno);
  }
  return SyncFolder(folder_) == StoreResult::kDone ? "" : folder_ + ": cannot be synced";
}

std::string LocalStore::IncomingPath(std::int32_t id) const { return folder_ + kIncoming + std::to_string(id); }

std::string LocalStore::PlaceOf(const std::string& sha256) const {
  return folder_ + "/" + sha256.substr(0, 2) + "/" + sha256.substr(2, 2) + "/" + sha256;
}

StoreResult LocalStore::OpenForAppend(std::unique_ptr<IUnfinished>& unfinished, std::int32_t id) {
  const auto path = IncomingPath(id);
  Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kFileMode));
  if (!file.IsOpen()) return Failed("cannot open", path, errno);
  if (flock(file.fd(), LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? StoreResult::kBusy : Failed("cannot lock", path, errno);
  }
  struct stat status {};
  if (fstat(file.fd(), &status) != 0) return Failed("cannot look at", path, errno);
  // Its last holder may have moved it, which is its place now, or removed it between the two calls.
  struct stat named {};
  const bool is_named =
      stat(path.c_str(), &named) == 0 && named.st_dev == status.st_dev && named.st_ino == status.st_ino;
  if (!is_named) return StoreResult::kBusy;
  unfinished = std::make_unique<LocalUnfinished>(*this, std::move(file), path, status.st_size);
  return StoreResult::kDone;
}

StoreResult LocalStore::Finish(std::int32_t id, const std::string& sha256) {
  const auto from = IncomingPath(id);
  const auto to = PlaceOf(sha256);
  const auto inner = to.substr(0, to.rfind('/'));
  const auto outer = inner.substr(0, inner.rfind('/'));
  auto done = MakeFolder(folder_, outer);
  if (done == StoreResult::kDone) done = MakeFolder(outer, inner);
  if (done != StoreResult::kDone) return done;
  if (std::rename(from.c_str(), to.c_str()) != 0) return Failed("cannot move", from, errno);
  done = SyncFolder(inner);
  return done == StoreResult::kDone ? SyncFolder(folder_ + "/incoming") : done;
}

StoreResult LocalStore::OpenRange(Body& body, const std::string& sha256, std::int64_t offset, std::int64_t size,
                                  std::int64_t total) {
  const auto path = PlaceOf(sha256);
  Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!file.IsOpen()) return Failed("cannot open", path, errno);
  struct stat status {};
  if (fstat(file.fd(), &status) != 0) return Failed("cannot look at", path, errno);
  if (!S_ISREG(status.st_mode) || status.st_size != total) return StoreResult::kMissing;
  body = std::make_shared<platform::HttpFile>(file.Release(), static_cast<std::uint64_t>(offset),
                                              static_cast<std::uint64_t>(size));
  return StoreResult::kDone;
}

StoreResult LocalStore::Check(const std::string& sha256, const ByteSink& sink) {
  const auto path = PlaceOf(sha256);
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!file.IsOpen()) return Failed("cannot open", path, errno);
  // What is in memory would be compared with itself.
  posix_fadvise(file.fd(), 0, 0, POSIX_FADV_DONTNEED);
  posix_fadvise(file.fd(), 0, 0, POSIX_FADV_SEQUENTIAL);
  const auto done = ReadAll(file.fd(), path, sink);
  // Others need the memory more.
  posix_fadvise(file.fd(), 0, 0, POSIX_FADV_DONTNEED);
  return done;
}

StoreResult LocalStore::RemoveUnfinished(std::int32_t id) {
  const auto path = IncomingPath(id);
  const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  if (!file.IsOpen()) return errno == ENOENT ? StoreResult::kDone : Failed("cannot open", path, errno);
  if (flock(file.fd(), LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? StoreResult::kBusy : Failed("cannot lock", path, errno);
  }
  return unlink(path.c_str()) == 0 ? StoreResult::kDone : Failed("cannot remove", path, errno);
}

bool LocalStore::HasRoom(std::int64_t bytes) {
  struct statvfs status {};
  if (statvfs(folder_.c_str(), &status) != 0) return true;
  const auto available = static_cast<std::int64_t>(status.f_bavail) * static_cast<std::int64_t>(status.f_frsize);
  return available - reserve_ >= bytes;
}

}  // namespace FileManager
