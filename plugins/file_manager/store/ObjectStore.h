#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "store/ByteStore.h"
#include "store/S3Client.h"

namespace FileManager {

/// Bytes in an S3-compatible object store: ab/cd/<digest>, and while they are received incoming/<id>/<offset> in
/// pieces, which can be read back and which become one object on the server. One process appends to one bucket's
/// uploads.
class ObjectStore final : public IByteStore {
 public:
  explicit ObjectStore(S3Settings settings);

  /// "" or why the bucket cannot be used.
  [[nodiscard]] std::string Prepare();

  StoreResult OpenForAppend(std::unique_ptr<IUnfinished>& unfinished, std::int32_t id) override;
  StoreResult Finish(std::int32_t id, const std::string& sha256) override;
  StoreResult OpenRange(Body& body, const std::string& sha256, std::int64_t offset, std::int64_t size,
                        std::int64_t total) override;
  StoreResult Check(const std::string& sha256, const ByteSink& sink) override;
  StoreResult RemoveUnfinished(std::int32_t id) override;
  bool HasRoom(std::int64_t /*bytes*/) override { return true; }

  /// The least size of a piece that begins at `offset`: pieces grow, as an object has at most 10000 parts, and all but
  /// its last have at least 5 MiB (limits of the S3 interface).
  [[nodiscard]] static std::int64_t PieceSize(std::int64_t offset);

 private:
  class Unfinished;

  const std::shared_ptr<const S3Client> client_;
  std::mutex mutex_;
  // Guarded by mutex_:
  std::set<std::int32_t> held_;
};

}  // namespace FileManager
