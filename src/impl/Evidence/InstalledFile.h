#pragma once

#include <string>

namespace Evidence {

/// Reads an installed file up to its last line feed (a text without one is kept whole). When it is missing or empty,
/// `second_path` is read instead; an empty `second_path` means the same name with the extension ".data" in the same
/// directory. False when neither has any content.
[[nodiscard]] bool ReadFile(const std::string& path, std::string& text, const std::string& second_path = {});

}  // namespace Evidence
