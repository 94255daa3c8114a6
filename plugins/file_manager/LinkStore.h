#pragma once

#include <chrono>
#include <string>

#include "LinkMessages.h"

/// The table filemanager.link. Thread-safe.
namespace FileManager::LinkStore {

/// The statement that creates or removes the links of `request`, all or none; "" when it names no file. Links already
/// in the requested state are not touched, and removing a link that never existed does not create a row. Rows are
/// locked in the order of file ids, so that concurrent calls on the same files wait for each other without a deadlock.
[[nodiscard]] std::string LinkStatement(const LinkRequest& request);

/// Runs that statement in a transaction in which each statement has `deadline`, so that what is given up is not done
/// later. When the connection is lost while it is being committed, looks up whether the links stand as asked. False
/// when they do not: the database is unreachable, rejects the statement, or takes too long.
[[nodiscard]] bool Apply(const LinkRequest& request, std::chrono::seconds deadline);

}  // namespace FileManager::LinkStore
