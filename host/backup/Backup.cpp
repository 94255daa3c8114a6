#include "backup/Backup.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include "Database.h"
#include "OwnerSession.h"
#include "backup/BackupCounts.h"
#include "backup/BackupFile.h"
#include "backup/ClientProgram.h"

namespace host {

using Rows = platform::OwnerSession::Rows;

constexpr char kSqlTables[] =
    "SELECT format('%I.%I', nspname, relname) FROM pg_catalog.pg_class AS c JOIN pg_catalog.pg_namespace AS n ON n.oid "
    "= "
    "relnamespace WHERE relkind = 'r' AND relpersistence <> 't' AND nspname !~ '^pg_' AND nspname <> "
    "'information_schema' AND NOT EXISTS (SELECT FROM pg_catalog.pg_depend WHERE classid = 'pg_class'::regclass AND "
    "objid = c.oid AND deptype = 'e') ORDER BY 1";

std::string CountRows(platform::OwnerSession& session, std::vector<Manifest::Table>& tables) {
  Rows names;
  if (auto fault = session.Run(kSqlTables, &names); !fault.empty()) return fault;
  for (const auto& name : names) {
    Rows count;
    if (auto fault = session.Run("SELECT count(*) FROM " + name[0], &count); !fault.empty()) return fault;
    tables.push_back({name[0], std::strtoll(count.at(0).at(0).c_str(), nullptr, 10)});
  }
  return {};
}

namespace {

constexpr char kSqlBegin[] =
    "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY; SET LOCAL lock_timeout = '60s'; SELECT pg_export_snapshot(), "
    "to_char(now() AT TIME ZONE 'UTC', 'YYYY-MM-DD\"T\"HH24:MI:SS\"Z\"'), current_setting('server_version'), "
    "to_regclass('platform.schema_version') IS NOT NULL, to_regclass('platform.key_check') IS NOT NULL";
constexpr char kSqlSchemaVersion[] = "SELECT max(version) FROM platform.schema_version";
constexpr char kSqlKeyCheck[] =
    "SELECT coalesce(string_agg(k::text, ',' ORDER BY k::text), '') FROM platform.key_check k";

// The text before the first = is the name.
constexpr char kSqlSettings[] =
    "SELECT CASE setrole WHEN 0 THEN '' ELSE pg_get_userbyid(setrole) END, split_part(line, '=', 1), "
    "substr(line, strpos(line, '=') + 1) FROM pg_catalog.pg_db_role_setting CROSS JOIN unnest(setconfig) AS line "
    "WHERE setdatabase = (SELECT oid FROM pg_catalog.pg_database WHERE datname = current_database()) ORDER BY 1, 2";

// Rights beside those that the set-up gives back.
constexpr char kSqlGrants[] =
    "SELECT format('GRANT %s ON %s TO %s%s', privilege_type, object, CASE grantee WHEN 0 THEN 'PUBLIC' ELSE "
    "quote_ident(pg_get_userbyid(grantee)) END, CASE WHEN is_grantable THEN ' WITH GRANT OPTION' ELSE '' END) FROM ("
    "SELECT format('%s %I.%I', CASE relkind WHEN 'S' THEN 'SEQUENCE' ELSE 'TABLE' END, nspname, relname) AS object, "
    "relowner AS owner, relacl AS rights FROM pg_catalog.pg_class JOIN pg_catalog.pg_namespace AS n ON n.oid = "
    "relnamespace WHERE nspname !~ '^pg_' AND nspname <> 'information_schema' UNION ALL "
    "SELECT format('SCHEMA %I', nspname), nspowner, nspacl FROM pg_catalog.pg_namespace WHERE nspname !~ '^pg_' AND "
    "nspname NOT IN ('information_schema', 'public')) AS objects CROSS JOIN aclexplode(rights) "
    "WHERE grantee <> owner AND pg_get_userbyid(grantee) <> 'evidence_app' ORDER BY 1";

constexpr char kSqlRoles[] =
    "SELECT rolname, rolcanlogin::integer FROM pg_catalog.pg_roles WHERE rolname !~ '^pg_' AND (oid IN (SELECT setrole "
    "FROM pg_catalog.pg_db_role_setting AS s JOIN pg_catalog.pg_database AS d ON d.oid = setdatabase WHERE datname = "
    "current_database()) OR oid IN (SELECT grantee FROM pg_catalog.pg_class CROSS JOIN aclexplode(relacl) WHERE "
    "grantee "
    "<> relowner UNION SELECT grantee FROM pg_catalog.pg_namespace CROSS JOIN aclexplode(nspacl) WHERE grantee <> "
    "nspowner)) ORDER BY 1";

/// What the database says of itself, beside its counts.
std::string Describe(platform::OwnerSession& session, Manifest& manifest) {
  Rows version;
  Rows roles;
  Rows settings;
  Rows grants;
  const std::array<std::pair<const char*, Rows*>, 4> reads{
      {{kSqlSchemaVersion, &version}, {kSqlRoles, &roles}, {kSqlSettings, &settings}, {kSqlGrants, &grants}}};
  for (const auto& [sql, rows] : reads) {
    if (auto fault = session.Run(sql, rows); !fault.empty()) return fault;
  }
  manifest.schema_version = std::atoi(version.at(0).at(0).c_str());
  for (const auto& row : roles)
    manifest.roles.push_back({row[0], row[1] == "1"});
  for (const auto& row : settings)
    manifest.settings.push_back({row[0], row[1], row[2]});
  for (const auto& row : grants)
    manifest.grants.push_back(row[0]);
  return {};
}

/// Fills the manifest and the dump from one snapshot, which lasts as long as this session's transaction.
std::string Save(platform::OwnerSession& session, StopsHeld& stops, int output, Manifest& manifest) {
  Rows begun;
  if (auto fault = session.Run(kSqlBegin, &begun); !fault.empty()) return fault;
  const auto& start = begun.at(0);
  if (start[3] != "t") return "the database has no schema of this host";
  manifest.made_at = start[1];
  manifest.server_version = start[2];
  Rows key;
  auto fault = start[4] == "t" ? session.Run(kSqlKeyCheck, &key) : std::string();
  if (!key.empty()) manifest.key_check = key[0][0];
  if (fault.empty()) fault = Describe(session, manifest);
  if (fault.empty()) fault = CountRows(session, manifest.tables);
  platform::OwnerSession::Access access;
  if (fault.empty()) fault = session.ReadAccess(access);
  if (!fault.empty()) return fault;
  return RunClientProgram(
      {.name = "pg_dump",
       .arguments = {"--format=custom", "--no-password", "--snapshot=" + start[0], "--dbname=" + access.words},
       .environment = access.environment,
       .output = output},
      stops);
}

std::string MakeBackup(const Settings& settings, const std::string& file, Manifest& manifest) {
  StopsHeld stops;
  BackupWriter writer(file);
  auto fault = writer.Open();
  platform::OwnerSession session(OwnerConnection(settings));
  if (fault.empty()) fault = session.Open();
  if (fault.empty()) fault = Save(session, stops, writer.fd(), manifest);
  if (fault.empty() && stops.WasAsked()) fault = "stopped";
  return fault.empty() ? writer.Finish(manifest) : fault;
}

}  // namespace

int RunBackup(const Settings& settings, const std::string& file) {
  Manifest manifest;
  const auto fault = MakeBackup(settings, file, manifest);
  if (!fault.empty()) {
    std::fprintf(stderr, "evidence-host: no backup was made: %s\n", fault.c_str());
    return 1;
  }
  for (const auto& table : manifest.tables)
    std::printf("%s\t%lld\n", table.name.c_str(), static_cast<long long>(table.rows));
  std::printf("%s: schema version %d, as of %s; keep aes.key with it\n", file.c_str(), manifest.schema_version,
              manifest.made_at.c_str());
  return 0;
}

}  // namespace host
