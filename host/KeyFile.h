#pragma once

#include <string>

namespace host {

/// Reads the installation's key from `file` into `key`; when there is no such file, creates one first, with 32 random
/// characters and mode 0600. Processes that create it at the same time all get the same key. Returns "" or the fault,
/// one line for the operator: the file cannot be read, is not a regular file, cannot be made private, or does not
/// contain 16, 24 or 32 printable ASCII characters (one trailing line feed is ignored). Rights of others on it are
/// taken away. An existing file is never written: its key decrypts the stored data.
[[nodiscard]] std::string OpenKeyFile(const std::string& file, std::string& key);

}  // namespace host
