#pragma once

#include <string>

#include "LinkMessages.h"

/// The table filemanager.link. Any thread.
namespace FileManager::LinkStore {

/// The text that makes or takes back the links of `request`, all or none; "" when it names no file. Links that stand as
/// wanted stay untouched, and a link that never was is not made by taking it back. Rows are locked in the order
/// of file ids, so that calls on the same files wait for each other and never in a circle.
[[nodiscard]] std::string LinkStatement(const LinkRequest& request);

/// Runs that text. False when the database is away or refuses it.
[[nodiscard]] bool Apply(const LinkRequest& request);

}  // namespace FileManager::LinkStore
