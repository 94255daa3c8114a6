-- Applied by every set-up, after the numbered scripts and in their transaction: what lies outside the tables, or is left
-- out by a dump that was made or restored by other means. It may run any number of times, and takes no lock on a table
-- that a running host waits for. What an operator has set to another value stays.

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

-- The partitions of platform.request_log, by months of UTC: this one and the next twelve. What is already in
-- request_log_rest stays there. A table is made by itself and then attached, which holds up nobody who adds rows; when
-- somebody reads the whole log for long, a backup for instance, the next set-up makes the months.
DO $$
DECLARE
  month timestamp;
  part  text;
  limit_before text := current_setting('lock_timeout');
BEGIN
  PERFORM set_config('lock_timeout', '5s', true);
  FOR month IN
    SELECT date_trunc('month', now() AT TIME ZONE 'UTC') + make_interval(months => n) FROM generate_series(0, 12) AS n
  LOOP
    part := 'request_log_' || to_char(month, 'YYYY_MM');
    CONTINUE WHEN to_regclass('platform.' || part) IS NOT NULL OR EXISTS (
      SELECT FROM platform.request_log_rest
      WHERE answered_at >= month AT TIME ZONE 'UTC' AND
            answered_at < (month + interval '1 month') AT TIME ZONE 'UTC');
    EXECUTE format('CREATE TABLE platform.%I (LIKE platform.request_log INCLUDING ALL)', part);
    EXECUTE format('ALTER TABLE platform.request_log ATTACH PARTITION platform.%I FOR VALUES FROM (%L) TO (%L)', part,
                   month::text || '+00', (month + interval '1 month')::text || '+00');
  END LOOP;
  PERFORM set_config('lock_timeout', limit_before, true);
EXCEPTION
  WHEN lock_not_available THEN
    RAISE WARNING 'the log of requests is being read as a whole: its partitions are made by the next set-up';
END
$$;

-- Rights. The program reads, adds and changes rows; a table of which it may do less has a row here, and a partition is
-- used through its table alone.
GRANT USAGE ON SCHEMA platform, evidence, filemanager TO evidence_app;
DO $$
DECLARE
  object record;
BEGIN
  FOR object IN
    SELECT format('%s %I.%I', CASE c.relkind WHEN 'S' THEN 'SEQUENCE' ELSE 'TABLE' END, n.nspname, c.relname) AS name,
           coalesce(less.rights, CASE WHEN c.relispartition THEN '' WHEN c.relkind = 'S' THEN 'USAGE'
                              ELSE 'SELECT, INSERT, UPDATE' END) AS rights
    FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace
    LEFT JOIN (VALUES
      ('platform.schema_version', 'SELECT'),
      ('platform.system', 'SELECT'),
      ('platform.camera_list', 'SELECT, UPDATE'),
      ('platform.key_check', 'SELECT, INSERT'),
      ('platform.users', 'SELECT, INSERT (name, password_hash, super_user, must_change_password), '
                         'UPDATE (password_hash, super_user, enabled, must_change_password, session_epoch)'),
      ('platform.permissions', 'SELECT, INSERT, UPDATE (granted)'),
      ('platform.roles', 'SELECT'),
      ('platform.role_permissions', 'SELECT'),
      ('platform.user_roles', 'SELECT, INSERT, UPDATE (granted)'),
      ('platform.user_permissions', 'SELECT'),
      ('platform.account_change', 'SELECT'),
      ('platform.auth_event', 'SELECT, INSERT'),
      ('platform.operation_log', 'SELECT, INSERT'),
      ('platform.request_log', 'SELECT, INSERT'),
      ('filemanager.site', 'SELECT'),
      ('evidence.operation_log', 'SELECT, INSERT')) AS less (name, rights) ON less.name = n.nspname || '.' || c.relname
    WHERE n.nspname IN ('platform', 'evidence', 'filemanager') AND c.relkind IN ('r', 'p', 'v', 'm', 'f', 'S')
  LOOP
    EXECUTE format('REVOKE ALL ON %s FROM evidence_app', object.name);
    IF object.rights <> '' THEN
      EXECUTE format('GRANT %s ON %s TO evidence_app', object.rights, object.name);
    END IF;
  END LOOP;
END
$$;
ALTER DEFAULT PRIVILEGES IN SCHEMA platform, evidence GRANT SELECT, INSERT, UPDATE ON TABLES TO evidence_app;
ALTER DEFAULT PRIVILEGES IN SCHEMA platform, evidence GRANT USAGE ON SEQUENCES TO evidence_app;

-- Settings of the role in this database; what an operator has set for the database as a whole stays, too. The times end
-- what a client or a lost host left behind: each statement of a text has its own. They belong to the role because a
-- pooler passes no options of a connection on. What may take longer raises its limit for one transaction.
--
-- The planner's make every answer the same, only faster. The tables fit into memory, so what is read costs by its rows
-- and little by its pages, wherever they are: a keyword's page is read through the word index when few rows match, and
-- newest first when more than one in a hundred do; by the server's own costs it is read newest first past most rows when
-- the matching ones are old. Workers take several milliseconds to start and pay off only for searches of all texts. JIT
-- compilation takes longer than it saves. The partitions are counted separately and then added up. A search reads all
-- entries that are pending for the word index, so their list is short.
DO $$
DECLARE
  missing record;
BEGIN
  FOR missing IN
    SELECT format('ALTER ROLE evidence_app IN DATABASE %I SET %s = %L', current_database(), name, value) AS statement
    FROM (VALUES
      ('statement_timeout', '30s'),
      ('lock_timeout', '30s'),
      ('client_connection_check_interval', '5s'),
      ('seq_page_cost', '0.1'),
      ('random_page_cost', '0.1'),
      ('cpu_tuple_cost', '0.05'),
      ('parallel_setup_cost', '3500'),
      ('jit', 'off'),
      ('enable_partitionwise_aggregate', 'on'),
      ('gin_pending_list_limit', '256kB')) AS wanted (name, value)
    WHERE NOT EXISTS (
      SELECT FROM pg_catalog.pg_db_role_setting AS kept CROSS JOIN unnest(kept.setconfig) AS line
      WHERE kept.setdatabase = (SELECT oid FROM pg_catalog.pg_database WHERE datname = current_database()) AND
            kept.setrole IN (0, 'evidence_app'::regrole::oid) AND split_part(line, '=', 1) = name)
  LOOP
    BEGIN
      EXECUTE missing.statement;
    EXCEPTION
      WHEN insufficient_privilege THEN
        RAISE WARNING 'this role may not set what the service should run with; a superuser runs: %', missing.statement;
    END;
  END LOOP;
END
$$;
