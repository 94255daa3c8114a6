#pragma once

#include <string>

#include "backup/BackupFile.h"

namespace host {

/// The manifest as one line of JSON, with its line end.
[[nodiscard]] std::string ManifestText(const Manifest& manifest);

/// The opposite; false when `text` is no manifest.
[[nodiscard]] bool ReadManifest(const std::string& text, Manifest& manifest);

}  // namespace host
