#pragma once

#include <string>

#include "LinkMessages.h"

/// The table filemanager.link. Thread-safe.
namespace FileManager::LinkStore {

/// The statement that creates or removes the links of `request`, all or none; "" when it names no file. Links already
/// in the requested state are not touched, and removing a link that never existed does not create a row. Rows are
/// locked in the order of file ids, so that concurrent calls on the same files wait for each other without a deadlock.
[[nodiscard]] std::string LinkStatement(const LinkRequest& request);

/// Runs that statement. False when the database is unreachable or rejects it.
[[nodiscard]] bool Apply(const LinkRequest& request);

}  // namespace FileManager::LinkStore
