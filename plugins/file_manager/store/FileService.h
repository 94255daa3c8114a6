#pragma once

#include <memory>
#include <optional>
#include <string>

#include "FileIds.h"
#include "platform/HttpRoutes.h"
#include "platform/Metrics.h"
#include "store/FileRoutes.h"
#include "store/Scrubber.h"

namespace FileManager {

/// The files of a running host: store, routes, and what is done in the background. Start and the destructor are not
/// thread-safe.
class FileService {
 public:
  /// Prepares the store, registers the routes and begins the work in the background. False, logged, when that fails.
  [[nodiscard]] bool Start();

  /// Of `ids`, those that an evidence must not be linked with. False when the database failed. Thread-safe.
  [[nodiscard]] bool Unlinkable(FileIds& unlinkable, const FileIds& ids) const;

 private:
  void Scrub(const Background::Wait& wait);

  std::unique_ptr<IByteStore> store_;
  std::optional<Uploads> uploads_;
  std::optional<Tickets> tickets_;
  bool is_strict_ = false;
  std::optional<platform::Metrics::Registration> figures_;
  std::optional<Background> tidying_;
  std::optional<Background> scrubbing_;
};

/// The back end that the host's settings name; `fault` is "" or why it cannot be used.
[[nodiscard]] std::unique_ptr<IByteStore> OpenStore(std::string& fault);

}  // namespace FileManager
