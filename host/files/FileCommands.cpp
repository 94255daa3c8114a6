#include "files/FileCommands.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <system_error>
#include <vector>

#include "Backends.h"
#include "FileManagerLog.h"
#include "OpenCommand.h"
#include "files/Progress.h"
#include "store/Delivery.h"
#include "store/FileService.h"
#include "store/LocalStore.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using FileManager::FileRow;
using FileManager::Scrubber;
using FileManager::Uploads;

constexpr std::int64_t kPage = 1000;
constexpr int kConnections = 2;
/// No user: a command of the machine's operator.
constexpr std::int32_t kNobody = -1;
constexpr char kCommandName[] = "evidence-host files import";

/// Opens the database and the store. "" or the fault.
std::string Open(const Settings& settings, std::unique_ptr<FileManager::IByteStore>& store) {
  auto fault = OpenForCommand(settings);
  if (!fault.empty()) return fault;
  platform::Slot<platform::ISystemBackend>::Exchange(
      MakeSystem(static_cast<int>(settings.server_standard), ExecutableDirectory(), {},
                 [settings](std::string_view name) { return SettingText(settings, name); }));
  if (!kelp::IDBManager::Instance()->Initialize(FileManager::kPluginId, kConnections, 1, true)) {
    return "the database cannot be reached";
  }
  store = FileManager::OpenStore(fault);
  return fault;
}

int Finish(const std::string& fault) {
  const int code = FinishCommand(fault);
  platform::Slot<platform::ISystemBackend>::Exchange(nullptr);
  return code;
}

/// Calls `visit` with each file in the order of ids. False when they cannot be read.
bool EachFile(std::string_view state, const std::function<void(const FileRow& file)>& visit) {
  std::vector<FileRow> files;
  std::int32_t after = 0;
  do {
    if (!FileManager::FileTable::List(files, state, after, kPage)) return false;
    for (const auto& file : files)
      visit(file);
    if (!files.empty()) after = files.back().id;
  } while (!files.empty());
  return true;
}

void Print(const FileRow& file) {
  std::printf("%d\t%s\t%s\t%lld bytes\t%s\t%s\n", file.id, file.state.c_str(),
              file.sha256.empty() ? "-" : file.sha256.c_str(), static_cast<long long>(file.bytes),
              file.opened_at.c_str(), file.name.c_str());
}

bool IsKept(const FileRow& file) {
  return file.state != FileManager::file_state::kReceiving && file.state != FileManager::file_state::kRemoved;
}

/// Reads all files that should be here. False when the rows cannot be read, or one that could not be checked.
bool CheckAll(FileManager::IByteStore& store) {
  std::vector<FileRow> files;
  std::int64_t total = 0;
  const bool read = EachFile("", [&](const FileRow& file) {
    if (!IsKept(file)) return;
    total += file.bytes;
    files.push_back(file);
  });
  Progress progress(total);
  bool all_known = read;
  for (const auto& file : files) {
    const auto verdict = Scrubber::Check(store, file, [&](std::size_t bytes) {
      progress.Add(bytes);
      return true;
    });
    all_known = all_known && verdict != Scrubber::Verdict::kNone;
  }
  return all_known;
}

/// A file of a folder as the body of an upload.
class FileBody final : public platform::HttpBodyReader {
 public:
  FileBody(int fd, Progress& progress) : file_(fd), progress_(progress) {}

  std::int64_t Read(char* to, std::size_t size) override {
    ssize_t count = 0;
    do {
      count = read(file_.fd(), to, size);
    } while (count < 0 && errno == EINTR);
    if (count > 0) progress_.Add(static_cast<std::size_t>(count));
    return count;
  }

 private:
  const FileManager::Descriptor file_;
  Progress& progress_;
};

/// "" or why the file was not taken in.
std::string Import(Uploads& uploads, const fs::path& path, Progress& progress) {
  FileRow file;
  file.name = path.filename().string();
  file.media_type = "application/octet-stream";
  file.received_by = kNobody;
  file.received_by_name = kCommandName;
  if (auto fault = FileManager::NameFault(file.name); !fault.empty()) return fault;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (fd < 0) return std::generic_category().message(errno);
  FileBody body(fd, progress);
  auto result = uploads.Open(file);
  const auto id = result.file.id;
  if (result.outcome == Uploads::Outcome::kMore) result = uploads.Append(id, kNobody, 0, body, true);
  if (result.outcome == Uploads::Outcome::kWhole) {
    progress.Clear();
    std::printf("%d\t%lld bytes\t%s\t%s\n", id, static_cast<long long>(result.file.bytes), result.file.sha256.c_str(),
                path.c_str());
    return {};
  }
  if (id != 0) static_cast<void>(uploads.Cancel(id, kNobody));
  switch (result.outcome) {
    case Uploads::Outcome::kFull:
      return "no room";
    case Uploads::Outcome::kTooLarge:
      return "larger than file_max_bytes";
    default:
      return "the database or the store is away";
  }
}

/// The regular files below a folder, in the order of paths, and their bytes. "" or the fault.
std::string ListFolder(const std::string& folder, std::vector<fs::path>& paths, std::int64_t& total) {
  std::error_code error;
  const auto end = fs::end(fs::recursive_directory_iterator());
  for (auto entry = fs::recursive_directory_iterator(folder, error); !error && entry != end; entry.increment(error)) {
    if (entry->is_symlink(error) || !entry->is_regular_file(error)) continue;
    total += static_cast<std::int64_t>(entry->file_size(error));
    paths.push_back(entry->path());
  }
  std::ranges::sort(paths);
  return error ? folder + ": " + error.message() : "";
}

}  // namespace

int RunFilesList(const Settings& settings, const std::string& state) {
  std::unique_ptr<FileManager::IByteStore> store;
  auto fault = Open(settings, store);
  if (fault.empty() && !EachFile(state, &Print)) fault = "the files cannot be read";
  return Finish(fault);
}

int RunFilesCheck(const Settings& settings, bool now) {
  std::unique_ptr<FileManager::IByteStore> store;
  auto fault = Open(settings, store);
  if (fault.empty() && now && !CheckAll(*store)) fault = "not every file could be checked";
  std::map<std::string, std::int64_t> counts;
  std::int64_t bad = 0;
  const auto visit = [&](const FileRow& file) {
    ++counts[file.state];
    if (file.state != FileManager::file_state::kMissing && file.state != FileManager::file_state::kAltered) return;
    ++bad;
    Print(file);
  };
  if (fault.empty() && !EachFile("", visit)) fault = "the files cannot be read";
  for (const auto& [state, count] : counts)
    std::printf("%lld %s\n", static_cast<long long>(count), state.c_str());
  if (fault.empty() && bad != 0) fault = std::to_string(bad) + " files are missing or altered";
  return Finish(fault);
}

int RunFilesImport(const Settings& settings, const std::string& folder) {
  std::vector<fs::path> paths;
  std::int64_t total = 0;
  std::unique_ptr<FileManager::IByteStore> store;
  auto fault = ListFolder(folder, paths, total);
  if (fault.empty()) fault = Open(settings, store);
  if (!fault.empty()) return Finish(fault);
  std::size_t refused = 0;
  {
    Progress progress(total);
    Uploads uploads(*store, {settings.file_max_bytes, std::numeric_limits<std::int32_t>::max()});
    for (const auto& path : paths) {
      const auto reason = Import(uploads, path, progress);
      if (reason.empty()) continue;
      ++refused;
      progress.Clear();
      std::fprintf(stderr, "%s: %s\n", path.c_str(), reason.c_str());
    }
  }
  return Finish(refused == 0 ? "" : std::to_string(refused) + " files were not taken in");
}

}  // namespace host
