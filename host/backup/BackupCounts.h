#pragma once

#include <string>
#include <vector>

#include "backup/BackupFile.h"

namespace platform {
class OwnerSession;
}

namespace host {

/// Counts the rows of each table of the database, those of extensions left out. "" or the fault.
[[nodiscard]] std::string CountRows(platform::OwnerSession& session, std::vector<Manifest::Table>& tables);

}  // namespace host
