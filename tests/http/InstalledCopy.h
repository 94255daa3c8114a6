#pragma once

#include <filesystem>
#include <string>

#include "support/ScratchFolder.h"

namespace evidence_test {

/// The built program with both plugins, in a folder of its own, whose file manager refuses the file 13.
class InstalledCopy {
 public:
  /// `built` is the file of the built program.
  explicit InstalledCopy(const std::filesystem::path& built) {
    namespace fs = std::filesystem;
    fs::copy_file(built, Host());
    fs::copy(built.parent_path() / "META_INFO", folder_.path() + "/META_INFO", fs::copy_options::recursive);
    for (const auto& entry : fs::directory_iterator(built.parent_path())) {
      const auto name = entry.path().filename().string();
      if (name.ends_with(".so") && !name.starts_with("test_")) fs::create_symlink(entry, folder_.path() + "/" + name);
    }
    fs::create_symlink(built.parent_path() / "database", folder_.path() + "/database");
    folder_.Write("META_INFO/filemanager.s/runtime_script/FileManager.json", R"({"RefusedFileIDs":[13]})");
  }

  std::string Host() const { return folder_.path() + "/evidence-host"; }

 private:
  const ScratchFolder folder_;
};

}  // namespace evidence_test
