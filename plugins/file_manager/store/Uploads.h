#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "store/ByteStore.h"
#include "store/Digest.h"
#include "store/FileTable.h"
#include "store/UploadHolds.h"

namespace FileManager {

struct UploadLimits {
  std::int64_t file_bytes = 0;
  std::int64_t per_user = 0;
};

/// Receives files: from the row that opens an upload to the bytes at the place of their digest. What was acknowledged
/// survives the end of the process at any moment. Thread-safe.
class Uploads {
 public:
  Uploads(IByteStore& store, UploadLimits limits) : store_(store), limits_(limits) {}

  enum class Outcome {
    /// Received so far; more is to come.
    kMore,
    kWhole,
    kNoSuchFile,
    /// Somebody else opened it.
    kNotYours,
    /// It is no longer being received.
    kEnded,
    /// More or fewer bytes are there than the caller thinks.
    kOtherOffset,
    /// More than was announced, or than a file may have.
    kTooLarge,
    kTooMany,
    /// Another request holds it.
    kBusy,
    kFull,
    /// The bytes have another digest than was expected.
    kOtherDigest,
    /// The body ended early; what came is kept.
    kCutOff,
    /// The database or the store failed.
    kUnavailable,
  };
  struct Result {
    Outcome outcome = Outcome::kUnavailable;
    /// Bytes that are there.
    std::int64_t offset = 0;
    FileRow file;
    /// By this very call.
    bool became_whole = false;
  };

  /// Opens an upload of what `file` tells, in the name of its received_by. An announced length of 0 makes it whole.
  [[nodiscard]] Result Open(FileRow file);

  /// Appends the body at `offset`. Whole when all announced bytes are there, or at the end of the body when
  /// `ends_with_body`.
  [[nodiscard]] Result Append(std::int32_t id, std::int32_t user_id, std::int64_t offset,
                              platform::HttpBodyReader& reader, bool ends_with_body = false);

  /// How much is there. Completes what was received wholly before the process died.
  [[nodiscard]] Result Look(std::int32_t id, std::int32_t user_id);

  /// Removes what was received: kEnded.
  [[nodiscard]] Result Cancel(std::int32_t id, std::int32_t user_id);

  /// Completes what was sealed, and removes uploads that nobody has gone on with for `hours`.
  void Tidy(std::int64_t hours);

 private:
  /// The digest of the first bytes of an upload, so that the next request need not read them back.
  struct Known {
    std::int32_t id;
    std::int64_t size;
    Digest digest;
  };

  Result Find(std::int32_t id, std::int32_t user_id);
  Outcome Open(std::unique_ptr<IUnfinished>& unfinished, std::int32_t id);
  Outcome Receive(IUnfinished& unfinished, Digest& digest, std::int64_t limit, platform::HttpBodyReader& reader);
  Outcome DigestOf(Digest& digest, IUnfinished& unfinished, std::int32_t id);
  void End(Result& result, const Digest& digest);
  Outcome Complete(FileRow& file, const Digest& digest, std::int64_t size);
  Outcome Place(FileRow& file);
  void Remember(std::int32_t id, std::int64_t size, Digest digest);
  std::optional<Digest> Recall(std::int32_t id, std::int64_t size);
  void RemoveStale(const FileRow& file);

  IByteStore& store_;
  const UploadLimits limits_;
  UploadHolds holds_;
  std::mutex known_mutex_;
  // Guarded by known_mutex_:
  std::deque<Known> known_;
};

}  // namespace FileManager
