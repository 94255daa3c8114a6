#pragma once

namespace evidence_test {

/// The program's rights, default rights and settings: what lies beside the tables.
inline constexpr char kSqlBeside[] =
    R"(
SELECT name || ' ' || string_agg(privilege_type, ',' ORDER BY privilege_type) AS line FROM (
  SELECT relnamespace::regnamespace || '.' || relname AS name, relacl AS acl FROM pg_class UNION ALL
  SELECT attrelid::regclass || '.' || attname, attacl FROM pg_attribute UNION ALL
  SELECT nspname, nspacl FROM pg_namespace) AS objects CROSS JOIN aclexplode(acl)
WHERE grantee = (SELECT oid FROM pg_roles WHERE rolname = 'evidence_app') GROUP BY name UNION ALL
SELECT defaclnamespace::regnamespace || defaclacl::text FROM pg_default_acl UNION ALL
SELECT CASE setrole WHEN 0 THEN '' ELSE 'app ' END || line FROM pg_db_role_setting, unnest(setconfig) AS line
WHERE setdatabase = (SELECT oid FROM pg_database WHERE datname = current_database()) ORDER BY line)";

}  // namespace evidence_test
