#pragma once

#include <memory>

#include "platform/HttpRoutes.h"
#include "store/Tickets.h"
#include "store/Uploads.h"

namespace FileManager {

/// What the routes of files work with.
struct FileParts {
  IByteStore& store;
  Uploads& uploads;
  const Tickets& tickets;
  std::int64_t file_max_bytes;
  /// Of the routes that deliver bytes: kStreams where the store has no descriptor to send from.
  platform::HttpPool delivery = platform::HttpPool::kRequests;
};

/// POST, PUT, PATCH and DELETE: files come in. False when the host refuses a route.
[[nodiscard]] bool RegisterUploadRoutes(platform::IHttpRoutes& routes, const std::shared_ptr<const FileParts>& parts);

/// GET: files, their data, lists and tickets.
[[nodiscard]] bool RegisterReadRoutes(platform::IHttpRoutes& routes, const std::shared_ptr<const FileParts>& parts);

}  // namespace FileManager
