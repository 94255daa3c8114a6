#include "LinkStore.h"

#include <string_view>

#include "FileManagerLog.h"
#include "KelpPlatform/DBManager.h"

namespace FileManager::LinkStore {
namespace {

constexpr char kSqlInsert[] = "INSERT INTO filemanager.link AS stored (file_id, evidence_id, linked) VALUES ";
constexpr char kSqlRenew[] =
    " ON CONFLICT (evidence_id, file_id) DO UPDATE SET linked = TRUE, update_time = now() WHERE NOT stored.linked";

// The inner query takes the locks in order; the update alone would take them in the order of its scan.
constexpr char kSqlUnlink[] =
    "UPDATE filemanager.link AS stored SET linked = FALSE, update_time = now() FROM (SELECT file_id, evidence_id FROM "
    "filemanager.link WHERE linked AND evidence_id = ";
constexpr char kSqlUnlinkFiles[] = " AND file_id IN (";
constexpr char kSqlUnlinkEnd[] =
    ") ORDER BY file_id FOR UPDATE) AS locked WHERE stored.evidence_id = locked.evidence_id AND stored.file_id = "
    "locked.file_id";

}  // namespace

// Only numbers go into the texts: nothing needs quoting.
std::string LinkStatement(const LinkRequest& request) {
  if (request.file_ids.empty()) return {};
  const bool link = request.operation == Operation::kLink;
  const std::string evidence_id = std::to_string(request.evidence_id);
  std::string sql = link ? kSqlInsert : kSqlUnlink + evidence_id + kSqlUnlinkFiles;
  std::string_view separator;
  for (const auto id : request.file_ids) {
    sql.append(separator);
    separator = ",";
    sql.append(link ? "(" + std::to_string(id) + "," + evidence_id + ",TRUE)" : std::to_string(id));
  }
  return sql.append(link ? kSqlRenew : kSqlUnlinkEnd);
}

bool Apply(const LinkRequest& request) {
  return kelp::IDBManager::Instance()->ExecuteNoQuery(kPluginId, kelp::IDBManager::kConfigClass,
                                                      LinkStatement(request));
}

}  // namespace FileManager::LinkStore
