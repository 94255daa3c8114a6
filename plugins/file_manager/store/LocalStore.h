#pragma once

#include <string>
#include <utility>

#include "OrvBase/Noncopyable.h"
#include "store/ByteStore.h"

namespace FileManager {

/// An open file or folder; owns its descriptor.
class Descriptor : public Orv::Base::CNoncopyable {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;

  [[nodiscard]] int fd() const { return fd_; }
  [[nodiscard]] bool IsOpen() const { return fd_ >= 0; }
  [[nodiscard]] int Release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

/// Bytes in a folder: incoming/<id> while they are received, then ab/cd/<digest>, both on one file system. A file of
/// incoming is held by a lock of its own (flock), which ends with its holder.
class LocalStore final : public IByteStore {
 public:
  /// Leaves `reserve` bytes of the disk free.
  LocalStore(std::string folder, std::int64_t reserve);

  /// "" or why the folder cannot be used. Makes what is missing, for this account alone.
  [[nodiscard]] std::string Prepare();

  StoreResult OpenForAppend(std::unique_ptr<IUnfinished>& unfinished, std::int32_t id) override;
  StoreResult Finish(std::int32_t id, const std::string& sha256) override;
  StoreResult OpenRange(Body& body, const std::string& sha256, std::int64_t offset, std::int64_t size,
                        std::int64_t total) override;
  StoreResult Check(const std::string& sha256, const ByteSink& sink) override;
  StoreResult RemoveUnfinished(std::int32_t id) override;
  bool HasRoom(std::int64_t bytes) override;

 private:
  [[nodiscard]] std::string IncomingPath(std::int32_t id) const;
  [[nodiscard]] std::string PlaceOf(const std::string& sha256) const;

  const std::string folder_;
  const std::int64_t reserve_;
};

}  // namespace FileManager
