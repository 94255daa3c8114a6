#pragma once

#include <string>

namespace host {

/// Reads the installation's key text from `file` into `key`; when there is no such file, makes one first, with 32
/// random characters and mode 0600. Processes that make it at the same time all get the same key. Returns "" or, in
/// one line for the operator, why there is no key: the file cannot be read, is no regular file, may be used by anybody
/// but its owner, or does not hold 16, 24 or 32 printable ASCII characters (one line feed behind them is passed
/// over). A file that stands is never written: the key in it opens what is stored.
[[nodiscard]] std::string OpenKeyFile(const std::string& file, std::string& key);

}  // namespace host
