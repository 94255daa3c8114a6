#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace evidence_test {

/// An empty folder of its own, deleted with all that is in it. Throws std::runtime_error when there is none.
class ScratchFolder {
 public:
  ScratchFolder() {
    if (!mkdtemp(path_.data())) throw std::runtime_error("no temporary folder " + path_);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }
  /// Writes a file and gives its path.
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ + "/" + name, std::ios::binary) << text;
    return path_ + "/" + name;
  }
  std::string Read(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(path_ + "/" + name, std::ios::binary).rdbuf();
    return text.str();
  }

 private:
  std::string path_ = (std::filesystem::temp_directory_path() / "evidence-XXXXXX").string();
};

}  // namespace evidence_test
