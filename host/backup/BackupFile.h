#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// The file of a backup: what pg_dump wrote in its custom format, which pg_restore also reads with what follows; then
/// the manifest, one line of JSON; then a line of fixed length with the manifest's length and the SHA-256 of all
/// before.
namespace host {

/// A descriptor that is closed at the end.
class OpenFile {
 public:
  OpenFile() = default;
  explicit OpenFile(int fd) : fd_(fd) {}
  OpenFile(OpenFile&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  OpenFile& operator=(OpenFile&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~OpenFile();

  [[nodiscard]] int fd() const { return fd_; }

 private:
  int fd_ = -1;
};

/// What a backup says of itself.
struct Manifest {
  struct Table {
    std::string name;
    std::int64_t rows = 0;
  };
  struct Role {
    std::string name;
    bool login = false;
  };
  /// Of the database, or when `role` is not empty of that role in it.
  struct DatabaseSetting {
    std::string role;
    std::string name;
    std::string value;
  };

  /// UTC, ISO form.
  std::string made_at;
  std::string server_version;
  int schema_version = 0;
  /// What tells keys apart, as the database holds it; "" when it holds none.
  std::string key_check;
  std::vector<Table> tables;
  std::vector<Role> roles;
  std::vector<DatabaseSetting> settings;
  /// Statements that give roles other than evidence_app their rights.
  std::vector<std::string> grants;
};

/// A backup being written, as `path`.part with mode 0600 that nobody else writes; deleted at the end unless it was
/// finished. Texts returned are "" or the fault.
class BackupWriter {
 public:
  explicit BackupWriter(std::string path) : path_(std::move(path)), part_(path_ + ".part") {}
  ~BackupWriter();
  BackupWriter(const BackupWriter&) = delete;
  BackupWriter& operator=(const BackupWriter&) = delete;

  /// Fails when there is a file `path`, which is never replaced.
  [[nodiscard]] std::string Open();
  /// For the dump, from its first byte on.
  [[nodiscard]] int fd() const { return file_.fd(); }
  /// Adds manifest and checksum, and gives the file its name once it is on the disk.
  [[nodiscard]] std::string Finish(const Manifest& manifest);

 private:
  const std::string path_;
  const std::string part_;
  OpenFile file_;
};

/// Opens the backup `path` at its first byte and reads its manifest. Fails when it is no backup, or not whole.
[[nodiscard]] std::string ReadBackup(const std::string& path, OpenFile& file, Manifest& manifest);

}  // namespace host
