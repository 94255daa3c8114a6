#pragma once

#include <filesystem>
#include <string>

#include "http/HostProcess.h"

namespace evidence_test {

/// The built program, EVIDENCE_HOST, under a folder of its own, whose files a test may change.
class Installation {
 public:
  Installation() {
    namespace fs = std::filesystem;
    const auto built = fs::path(EVIDENCE_HOST).parent_path();
    fs::copy_file(EVIDENCE_HOST, Host());
    for (const char* const name :
         {"libplatform.so", "file_manager.s.so", "casefile.s.so", "test_show.s.so", "database"})
      fs::create_symlink(built / name, fs::path(folder_.path()) / name);
    fs::copy(built / "META_INFO", fs::path(folder_.path()) / "META_INFO", fs::copy_options::recursive);
  }

  [[nodiscard]] std::string Host() const { return folder_.path() + "/evidence-host"; }
  /// Settings of the file manager, read when the host starts.
  void WriteSettings(const std::string& text) const {
    folder_.Write("META_INFO/filemanager.s/runtime_script/FileManager.json", text);
  }

 private:
  const ScratchFolder folder_;
};

}  // namespace evidence_test
