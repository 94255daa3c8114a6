#include "backup/BackupFile.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <memory>
#include <string_view>
#include <system_error>

#include "backup/BackupManifest.h"

namespace host {
namespace {

/// The last line: the mark, the length of the manifest with its line end, the checksum.
constexpr std::string_view kMark = "evidence-backup 1 ";
constexpr std::size_t kLengthDigits = 10;
constexpr std::size_t kChecksumDigits = 64;
constexpr std::size_t kFooter = kMark.size() + kLengthDigits + 1 + kChecksumDigits + 1;
constexpr std::size_t kMostManifest = 16 << 20;

std::string SystemFault(const std::string& path) { return path + ": " + std::generic_category().message(errno); }

bool WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const auto written = write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

/// `size` bytes from `offset` on; shorter when the file ends or fails.
std::string ReadAt(int fd, off_t offset, std::size_t size) {
  std::string text(size, '\0');
  std::size_t done = 0;
  while (done < size) {
    const auto got = pread(fd, text.data() + done, size - done, offset + static_cast<off_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  text.resize(done);
  return text;
}

/// The SHA-256 of the first `size` bytes in hex; "" when they cannot be read.
std::string Checksum(int fd, off_t size) {
  constexpr std::size_t kPiece = 1 << 20;
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  if (!digest || EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) != 1) return {};
  for (off_t at = 0; at < size;) {
    const auto piece = ReadAt(fd, at, std::min(kPiece, static_cast<std::size_t>(size - at)));
    if (piece.empty() || EVP_DigestUpdate(digest.get(), piece.data(), piece.size()) != 1) return {};
    at += static_cast<off_t>(piece.size());
  }
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
  unsigned length = 0;
  if (EVP_DigestFinal_ex(digest.get(), bytes.data(), &length) != 1) return {};
  constexpr char kHex[] = "0123456789abcdef";
  std::string hex;
  for (unsigned i = 0; i < length; ++i)
    hex.append({kHex[bytes.at(i) >> 4U], kHex[bytes.at(i) & 15U]});
  return hex;
}

std::string FolderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

OpenFile::~OpenFile() {
  if (fd_ >= 0) close(fd_);
}

BackupWriter::~BackupWriter() {
  if (file_.fd() >= 0) unlink(part_.c_str());
}

std::string BackupWriter::Open() {
  if (access(path_.c_str(), F_OK) == 0) return path_ + " is there already";
  OpenFile file(open(part_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (file.fd() < 0) return SystemFault(part_);
  if (flock(file.fd(), LOCK_EX | LOCK_NB) != 0) return part_ + " is being written by another backup";
  // One that was killed may have left it.
  if (fchmod(file.fd(), 0600) != 0 || ftruncate(file.fd(), 0) != 0) return SystemFault(part_);
  file_ = std::move(file);
  return {};
}

std::string BackupWriter::Finish(const Manifest& manifest) {
  if (lseek(file_.fd(), 0, SEEK_END) <= 0) return part_ + ": holds no dump";
  const auto text = ManifestText(manifest);
  auto length = std::to_string(text.size());
  length.insert(0, kLengthDigits - std::min(kLengthDigits, length.size()), '0');
  if (text.size() > kMostManifest || !WriteAll(file_.fd(), text)) return SystemFault(part_);
  const auto checksum = Checksum(file_.fd(), lseek(file_.fd(), 0, SEEK_END));
  const auto footer = std::string(kMark) + length + " " + checksum + "\n";
  if (checksum.empty() || !WriteAll(file_.fd(), footer) || fsync(file_.fd()) != 0) return SystemFault(part_);
  if (renameat2(AT_FDCWD, part_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) != 0) {
    return errno == EEXIST ? path_ + " is there already" : SystemFault(path_);
  }
  file_ = OpenFile();
  const OpenFile folder(open(FolderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return folder.fd() >= 0 && fsync(folder.fd()) == 0 ? std::string() : SystemFault(FolderOf(path_));
}

std::string ReadBackup(const std::string& path, OpenFile& file, Manifest& manifest) {
  file = OpenFile(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat state {};
  if (file.fd() < 0 || fstat(file.fd(), &state) != 0) return SystemFault(path);
  std::string fault = path + " is no backup of this program, or not a whole one";
  const auto body = state.st_size - static_cast<off_t>(kFooter);
  if (!S_ISREG(state.st_mode) || body <= 0) return fault;
  const auto footer = ReadAt(file.fd(), body, kFooter);
  std::size_t length = 0;
  const char* const digits = footer.data() + kMark.size();
  const auto [end, error] = std::from_chars(digits, digits + kLengthDigits, length);
  if (!footer.starts_with(kMark) || error != std::errc() || end != digits + kLengthDigits || length > kMostManifest ||
      static_cast<off_t>(length) >= body ||
      footer.substr(kFooter - 1 - kChecksumDigits, kChecksumDigits) != Checksum(file.fd(), body)) {
    return fault;
  }
  if (!ReadManifest(ReadAt(file.fd(), body - static_cast<off_t>(length), length), manifest)) return fault;
  return lseek(file.fd(), 0, SEEK_SET) == 0 ? std::string() : SystemFault(path);
}

}  // namespace host
