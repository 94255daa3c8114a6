#include "impl/Evidence/InstalledFile.h"

#include <filesystem>
#include <fstream>

namespace Evidence {
namespace {

bool ReadWhole(const std::string& path, std::string& text) {
  std::error_code fault;
  if (!std::filesystem::is_regular_file(path, fault)) return false;
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file) return false;
  const std::streamoff size = file.tellg();
  if (size <= 0) return false;
  text.assign(static_cast<std::size_t>(size), '\0');
  file.seekg(0);
  file.read(text.data(), size);
  text.resize(static_cast<std::size_t>(file.gcount()));
  return true;
}

/// "" when `path` has no directory.
std::string DataPathBeside(const std::string& path) {
  const auto separator = path.find_last_of("/\\");
  if (separator == std::string::npos) return {};
  const std::string name = path.substr(separator + 1);
  return path.substr(0, separator) + "/" + name.substr(0, name.rfind('.')) + ".data";
}

}  // namespace

bool ReadFile(const std::string& path, std::string& text, const std::string& second_path) {
  if (!ReadWhole(path, text)) {
    const std::string fallback = second_path.empty() ? DataPathBeside(path) : second_path;
    if (fallback.empty() || !ReadWhole(fallback, text)) return false;
  }
  const auto last_line_feed = text.rfind('\n');
  if (last_line_feed != std::string::npos) text.resize(last_line_feed + 1);
  return true;
}

}  // namespace Evidence
