-- The role the running program uses: it reads, adds and changes rows, and nothing else. History can be
-- added to and read, never changed.

-- Roles are shared by the whole server, so another database's set-up may have created it, even concurrently.
DO $$
BEGIN
  IF NOT EXISTS (SELECT FROM pg_catalog.pg_roles WHERE rolname = 'evidence_app') THEN
    CREATE ROLE evidence_app LOGIN;
  END IF;
EXCEPTION
  WHEN duplicate_object OR unique_violation THEN NULL;
END
$$;

GRANT USAGE ON SCHEMA platform, evidence TO evidence_app;
GRANT SELECT, INSERT, UPDATE ON ALL TABLES IN SCHEMA platform, evidence TO evidence_app;
GRANT USAGE ON ALL SEQUENCES IN SCHEMA platform, evidence TO evidence_app;
REVOKE UPDATE ON platform.operation_log, evidence.operation_log FROM evidence_app;
REVOKE INSERT, UPDATE ON platform.schema_version, platform.system FROM evidence_app;

-- Objects added by later scripts get the same grants; a script revokes UPDATE itself on a table that must not change.
ALTER DEFAULT PRIVILEGES IN SCHEMA platform, evidence GRANT SELECT, INSERT, UPDATE ON TABLES TO evidence_app;
ALTER DEFAULT PRIVILEGES IN SCHEMA platform, evidence GRANT USAGE ON SEQUENCES TO evidence_app;
