#include "store/FileService.h"

#include <chrono>
#include <fstream>
#include <utility>

#include "FileManagerLog.h"
#include "TarnPlatform/Common.h"
#include "platform/SiteSettings.h"
#include "store/FileFigures.h"
#include "store/LocalStore.h"
#include "store/ObjectStore.h"

namespace FileManager {
namespace {

using platform::SiteNumber;
using platform::SiteSetting;

constexpr std::int64_t kMebi = std::int64_t{1} << 20;
constexpr std::chrono::minutes kBetweenTidying{5};
constexpr std::chrono::minutes kBetweenScrubs{1};
constexpr std::int64_t kHoursOfDay = 24;

std::int64_t FileBytes() { return SiteNumber("file_max_bytes", std::int64_t{1} << 40); }

/// The lines of the file that has the key of the object store.
std::string ReadKey(S3Settings& settings, const std::string& file) {
  std::ifstream stream(file);
  if (!std::getline(stream, settings.access_key) || !std::getline(stream, settings.secret) ||
      settings.access_key.empty() || settings.secret.empty()) {
    return "object_store_key: " + file + " has no access key and secret";
  }
  return {};
}

std::unique_ptr<IByteStore> OpenObjects(const std::string& endpoint, std::string& fault) {
  S3Settings settings{endpoint, SiteSetting("object_store_region"), {}, {}};
  fault = ReadKey(settings, SiteSetting("object_store_key"));
  if (!fault.empty()) return nullptr;
  auto store = std::make_unique<ObjectStore>(std::move(settings));
  fault = store->Prepare();
  return store;
}

}  // namespace

std::unique_ptr<IByteStore> OpenStore(std::string& fault) {
  if (const auto endpoint = SiteSetting("object_store"); !endpoint.empty()) return OpenObjects(endpoint, fault);
  auto store = std::make_unique<LocalStore>(SiteSetting("files"), SiteNumber("files_reserve_mb", 0) * kMebi);
  fault = store->Prepare();
  return store;
}

bool FileService::Start() {
  std::string fault;
  store_ = OpenStore(fault);
  if (!fault.empty()) {
    FILE_MANAGER_LOG(kLogFatal, "The store of files cannot be used: %s", fault.c_str());
    return false;
  }
  const auto strict = SiteSetting("file_strict");
  is_strict_ = strict == "on";
  if (strict == "site" && !FileTable::BeganStrict(is_strict_)) {
    FILE_MANAGER_LOG(kLogFatal, "It cannot be read whether this site is strict");
    return false;
  }
  uploads_.emplace(*store_, UploadLimits{FileBytes(), SiteNumber("uploads_per_user", 32)});
  tickets_.emplace(TarnPlatform::Common::GetAESKey());
  const auto routes = platform::IHttpRoutes::Instance();
  const auto parts = std::make_shared<const FileParts>(
      FileParts{*store_, *uploads_, *tickets_, FileBytes(),
                SiteSetting("object_store").empty() ? platform::HttpPool::kRequests : platform::HttpPool::kStreams});
  if (!routes || !RegisterUploadRoutes(*routes, parts) || !RegisterReadRoutes(*routes, parts)) {
    FILE_MANAGER_LOG(kLogFatal, "The routes of files cannot be registered");
    return false;
  }
  figures_.emplace(platform::Metrics::Process(), [] { return FileFigures::Process().Collect(); });
  const auto hours = SiteNumber("upload_hours", kHoursOfDay);
  tidying_.emplace(kBetweenTidying, [this, hours](const Background::Wait&) { uploads_->Tidy(hours); });
  if (SiteNumber("scrub_days", 0) > 0) {
    scrubbing_.emplace(kBetweenScrubs, [this](const Background::Wait& wait) { Scrub(wait); });
  }
  return true;
}

bool FileService::Unlinkable(FileIds& unlinkable, const FileIds& ids) const {
  return !is_strict_ || FileTable::NotWhole(unlinkable, ids);
}

/// Checks what is due, one file after the other.
void FileService::Scrub(const Background::Wait& wait) {
  const auto hours = SiteNumber("scrub_days", 0) * kHoursOfDay;
  const auto rate = SiteNumber("scrub_mb_per_s", 1) * kMebi;
  auto verdict = Scrubber::Verdict::kGood;
  FileRow file;
  while (verdict != Scrubber::Verdict::kNone && FileTable::NextToCheck(file, hours) == FileTable::Found::kYes) {
    verdict = Scrubber::Check(*store_, file, [&wait, rate](std::size_t bytes) {
      return wait(std::chrono::milliseconds(static_cast<std::int64_t>(bytes) * 1000 / rate));
    });
  }
}

}  // namespace FileManager
