#pragma once

#include <string>

namespace Evidence {

/// Reads an installed file whole, cut behind its last line feed (a text without one stays whole). When it is
/// missing or empty, `second_path` stands in for it; an empty `second_path` means the same name with the
/// extension ".data" beside it. False when neither gives anything.
[[nodiscard]] bool ReadFile(const std::string& path, std::string& text, const std::string& second_path = {});

}  // namespace Evidence
