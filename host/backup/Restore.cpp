#include <algorithm>
#include <array>
#include <cstdio>

#include "Database.h"
#include "DatabaseSetup.h"
#include "OwnerSession.h"
#include "backup/Backup.h"
#include "backup/BackupCounts.h"
#include "backup/BackupFile.h"
#include "backup/ClientProgram.h"
#include "platform/SqlText.h"

namespace host {
namespace {

using platform::SqlName;
using Rows = platform::OwnerSession::Rows;

// What an extension of the template brought does not count.
constexpr char kSqlContents[] =
    "SELECT format('schema %I', nspname) FROM pg_catalog.pg_namespace AS n WHERE nspname !~ '^pg_' AND nspname NOT IN "
    "('public', 'information_schema') AND NOT EXISTS (SELECT FROM pg_catalog.pg_depend WHERE classid = "
    "'pg_namespace'::regclass AND objid = n.oid AND deptype = 'e') UNION ALL "
    "SELECT format('public.%I', relname) FROM pg_catalog.pg_class AS c WHERE relnamespace = to_regnamespace('public') "
    "AND NOT EXISTS (SELECT FROM pg_catalog.pg_depend WHERE classid = 'pg_class'::regclass AND objid = c.oid AND "
    "deptype = 'e') ORDER BY 1 LIMIT 1";

std::string CheckEmpty(platform::OwnerSession& session) {
  Rows contents;
  if (auto fault = session.Run(kSqlContents, &contents); !fault.empty()) return fault;
  return contents.empty() ? "" : "the database is not empty, it has " + contents[0][0] + "; restore into a new one";
}

/// Whether this host can run what the backup holds.
std::string CheckVersion(const Settings& settings, const Manifest& manifest) {
  int known = 0;
  if (auto fault = platform::NewestSchemaVersion(SqlDirectory(settings), known); !fault.empty()) return fault;
  if (manifest.schema_version <= known) return {};
  return "the backup has schema version " + std::to_string(manifest.schema_version) + ", this host knows " +
         std::to_string(known) + ": use a newer host";
}

/// All rows, or none. Owner and rights are those of this connection's role: the set-up gives the others.
std::string Load(platform::OwnerSession& session, StopsHeld& stops, int input) {
  platform::OwnerSession::Access access;
  if (auto fault = session.ReadAccess(access); !fault.empty()) return fault;
  return RunClientProgram({.name = "pg_restore",
                           .arguments = {"--single-transaction", "--exit-on-error", "--no-owner", "--no-privileges",
                                         "--no-comments", "--no-password", "--dbname=" + access.words},
                           .environment = access.environment,
                           .input = input},
                          stops);
}

/// Prints what was counted at both ends.
std::string Compare(const std::vector<Manifest::Table>& saved, const std::vector<Manifest::Table>& restored) {
  const auto count = [](const std::vector<Manifest::Table>& tables, const std::string& name) {
    const auto found = std::ranges::find(tables, name, &Manifest::Table::name);
    return found == tables.end() ? std::string("none") : std::to_string(found->rows);
  };
  bool equal = saved.size() == restored.size();
  std::printf("table\tin the backup\tin the database\n");
  for (const auto& table : saved) {
    const auto here = count(restored, table.name);
    equal = equal && here == std::to_string(table.rows);
    std::printf("%s\t%lld\t%s\n", table.name.c_str(), static_cast<long long>(table.rows), here.c_str());
  }
  return equal ? "" : "the database does not hold what the backup says; drop it";
}

/// A setting whose value is a list of names is stored as it is written in a statement.
bool IsListOfNames(const std::string& name) {
  constexpr std::array kLists{"local_preload_libraries", "search_path", "session_preload_libraries",
                              "temp_tablespaces"};
  return std::ranges::find(kLists, name) != kLists.end();
}

/// The statements that bring back roles, settings and rights, those that the set-up gives aside.
std::vector<std::string> Surroundings(const Manifest& manifest, const std::string& database) {
  std::vector<std::string> statements;
  for (const auto& role : manifest.roles) {
    statements.push_back("DO $do$ BEGIN IF NOT EXISTS (SELECT FROM pg_catalog.pg_roles WHERE rolname = " +
                         platform::SqlText::Literal(role.name) + ") THEN CREATE ROLE " + SqlName(role.name) +
                         (role.login ? " LOGIN" : "") + "; END IF; END $do$");
  }
  for (const auto& [role, name, value] : manifest.settings) {
    const auto whose =
        role.empty() ? "DATABASE " + SqlName(database) : "ROLE " + SqlName(role) + " IN DATABASE " + SqlName(database);
    statements.push_back("ALTER " + whose + " SET " + SqlName(name) + " TO " +
                         (IsListOfNames(name) ? value : platform::SqlText::Literal(value)));
  }
  statements.insert(statements.end(), manifest.grants.begin(), manifest.grants.end());
  return statements;
}

/// What this role may not bring back is told: it is no reason to give up a restored database.
std::string RestoreSurroundings(platform::OwnerSession& session, const Manifest& manifest) {
  Rows database;
  if (auto fault = session.Run("SELECT current_database()", &database); !fault.empty()) return fault;
  for (const auto& statement : Surroundings(manifest, database[0][0])) {
    const auto fault = session.Run(statement);
    if (!fault.empty())
      std::fprintf(stderr, "evidence-host: not restored: %s (%s)\n", statement.c_str(), fault.c_str());
  }
  return {};
}

/// The rows are there: what follows is not stopped, and `evidence-host setup` repeats what matters of it.
std::string Finish(platform::OwnerSession& session, const Settings& settings, const Manifest& manifest) {
  std::vector<Manifest::Table> restored;
  int version = 0;
  auto fault = CountRows(session, restored);
  if (fault.empty()) fault = Compare(manifest.tables, restored);
  if (fault.empty()) fault = RestoreSurroundings(session, manifest);
  if (fault.empty()) fault = SetUpSchema(OwnerConnection(settings), SqlDirectory(settings), version);
  // Also marks what index-only scans may skip, on which plans depend.
  if (fault.empty()) fault = session.Run("VACUUM (ANALYZE)");
  if (fault.empty()) std::printf("schema version %d, as of %s\n", version, manifest.made_at.c_str());
  return fault.empty() ? "" : "the rows were restored, but " + fault;
}

std::string Restore(const Settings& settings, const std::string& path) {
  StopsHeld stops;
  OpenFile file;
  Manifest manifest;
  auto fault = ReadBackup(path, file, manifest);
  if (fault.empty()) fault = CheckVersion(settings, manifest);
  platform::OwnerSession session(OwnerConnection(settings));
  if (fault.empty()) fault = session.Open();
  if (fault.empty()) fault = CheckEmpty(session);
  if (fault.empty()) fault = Load(session, stops, file.fd());
  return fault.empty() ? Finish(session, settings, manifest) : "nothing was restored: " + fault;
}

}  // namespace

int RunRestore(const Settings& settings, const std::string& file) {
  const auto fault = Restore(settings, file);
  if (!fault.empty()) std::fprintf(stderr, "evidence-host: %s\n", fault.c_str());
  return fault.empty() ? 0 : 1;
}

}  // namespace host
