#include "LinkStore.h"

#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

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

// A look-up takes its turn behind a commit that the server has not ended. The first key is this plugin's.
// Nor does an upload take an id meanwhile that this text names (FileTable).
constexpr char kSqlTakeTurn[] = "SELECT pg_advisory_xact_lock_shared(713, 0), pg_advisory_xact_lock(712, ";
constexpr char kSqlCount[] = "SELECT count(*) AS linked FROM filemanager.link WHERE linked AND evidence_id = ";

/// A server that crashed needs a moment before it answers.
constexpr int kLookUps = 10;
constexpr std::chrono::milliseconds kBetweenLookUps{500};

std::string DeadlineText(std::chrono::seconds deadline) {
  return "SET LOCAL statement_timeout = " + std::to_string(std::chrono::milliseconds(deadline).count());
}

std::string TurnText(const LinkRequest& request) { return kSqlTakeTurn + std::to_string(request.evidence_id) + ")"; }

std::string FileList(const FileIds& file_ids) {
  std::string list;
  for (const auto id : file_ids)
    list += (list.empty() ? "" : ",") + std::to_string(id);
  return list;
}

/// Sets `stands` to whether the links are as asked. False when the database does not answer.
bool LookUp(bool& stands, const LinkRequest& request, std::chrono::seconds deadline) {
  int linked = 0;
  const std::string sql = DeadlineText(deadline) + "; " + TurnText(request) + "; " + kSqlCount +
                          std::to_string(request.evidence_id) + kSqlUnlinkFiles + FileList(request.file_ids) + ")";
  const bool answered =
      kelp::IDBManager::Instance()->ExecuteQuery(kPluginId, kelp::IDBManager::kConfigClass, sql,
                                                 [&](kelp::IDBResultSet* rows) { linked = rows->GetInt("linked"); });
  const auto wanted = request.operation == Operation::kLink ? request.file_ids.size() : 0;
  stands = answered && std::cmp_equal(linked, wanted);
  return answered;
}

bool StandsAsAsked(const LinkRequest& request, std::chrono::seconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  bool stands = false;
  for (int n = 0; n < kLookUps && std::chrono::steady_clock::now() < end; ++n) {
    if (n != 0) std::this_thread::sleep_for(kBetweenLookUps);
    if (LookUp(stands, request, deadline)) return stands;
  }
  FILE_MANAGER_LOG(kLogFailure, "It is not known whether the links of evidence %d were stored", request.evidence_id);
  return false;
}

}  // namespace

// Only numbers go into the texts: nothing needs quoting.
std::string LinkStatement(const LinkRequest& request) {
  if (request.file_ids.empty()) return {};
  const bool link = request.operation == Operation::kLink;
  const std::string evidence_id = std::to_string(request.evidence_id);
  std::string sql = link ? kSqlInsert : kSqlUnlink + evidence_id + kSqlUnlinkFiles;
  if (!link) return sql + FileList(request.file_ids) + kSqlUnlinkEnd;
  std::string_view separator;
  for (const auto id : request.file_ids) {
    sql.append(separator).append("(" + std::to_string(id) + "," + evidence_id + ",TRUE)");
    separator = ",";
  }
  return sql + kSqlRenew;
}

bool Apply(const LinkRequest& request, std::chrono::seconds deadline) {
  if (request.file_ids.empty()) return true;
  using enum kelp::IDBManager::End;
  const auto end = kelp::IDBManager::Instance()->RunTransaction(
      kPluginId, kelp::IDBManager::kConfigClass,
      {DeadlineText(deadline) + "; " + TurnText(request) + "; " + LinkStatement(request)});
  return end == kCommitted || (end == kUnknown && StandsAsAsked(request, deadline));
}

}  // namespace FileManager::LinkStore
