-- Guids are unique over both partitions: each has an index for its own rows, and this looks into the other one. Writers
-- of ordinary rows share the lock of a guid, as that index settles it between them; a writer of an outsize row holds it
-- alone. So the later of two twins waits for the first to end, and then looks with a snapshot that has its row. Guids
-- share 64 locks: a load of any size takes no more, and an outsize row waits for the loads that run and for one creation
-- in 64. The lock is taken after the row is written and everything it waits for is over: who holds one waits for no row.
-- A row that changes sides is checked where it arrives.
--
-- The program may not read a partition, so this runs as its owner. A session keeps a plan that was made while the tables
-- were empty: the small partition is therefore never read as a whole, and the look into the large one, of whose many
-- indexes any may seem right then, is planned each time.
DROP TRIGGER refuse_twin_of_new ON evidence.evidence;
DROP TRIGGER refuse_twin_of_changed ON evidence.evidence;
CREATE OR REPLACE FUNCTION evidence.refuse_twin() RETURNS trigger LANGUAGE plpgsql
SECURITY DEFINER SET search_path = pg_catalog SET enable_seqscan = off AS $$
DECLARE
  guid_lock CONSTANT integer := 1024 + (hashtext(NEW.guid) & 63);
  has_twin boolean;
BEGIN
  IF current_setting('transaction_isolation') <> 'read committed' THEN
    RAISE feature_not_supported USING MESSAGE = 'evidences are written in transactions that are read committed';
  END IF;
  IF TG_TABLE_NAME = 'evidence_ordinary' THEN
    PERFORM pg_advisory_xact_lock_shared(711, guid_lock);
    has_twin := EXISTS (SELECT FROM evidence.evidence_outsize WHERE guid = NEW.guid AND deleted = 0) OR
                EXISTS (SELECT FROM evidence.evidence_outsize WHERE ID = NEW.ID);
  ELSE
    PERFORM pg_advisory_xact_lock(711, guid_lock);
    EXECUTE 'SELECT EXISTS (SELECT FROM evidence.evidence_ordinary WHERE guid = $1 AND deleted = 0) OR
                    EXISTS (SELECT FROM evidence.evidence_ordinary WHERE ID = $2)' INTO has_twin USING NEW.guid, NEW.ID;
  END IF;
  IF has_twin THEN
    RAISE unique_violation USING MESSAGE = format('evidence %s or its guid is there already', NEW.ID);
  END IF;
  RETURN NULL;
END
$$;
CREATE TRIGGER refuse_twin_of_new AFTER INSERT ON evidence.evidence
  FOR EACH ROW WHEN (NEW.deleted = 0) EXECUTE FUNCTION evidence.refuse_twin();
CREATE TRIGGER refuse_twin_of_changed AFTER UPDATE OF guid, deleted ON evidence.evidence
  FOR EACH ROW WHEN (NEW.deleted = 0 AND (NEW.guid <> OLD.guid OR OLD.deleted <> 0))
  EXECUTE FUNCTION evidence.refuse_twin();

-- What is filtered by a type: a page reads the newest rows of the type and no other, also of a rare one, a count its rows
-- alone; taking a deleted type from its evidences finds them. And the options of an attribute, which each read of an
-- evidence and each file of a link reads.
CREATE INDEX evidence_live_type ON evidence.evidence_ordinary (evidence_type_id, local_create_time, ID)
  WHERE deleted = 0;
CREATE INDEX evidence_option_live_custom ON evidence.evidence_option (custom_id) WHERE deleted = 0;

-- Long lists of entries pending for the word index make searches slow, short ones loads. How long they become is a
-- setting of who writes: the program's role has a short one (every_setup.sql), others have the server's.
ALTER INDEX evidence.evidence_live_words RESET (gin_pending_list_limit);
ALTER INDEX evidence.evidence_file_free_words RESET (gin_pending_list_limit);

-- The planner's settings are the program's role's (every_setup.sql). Those of 007_ordered_texts.sql are taken back: those
-- of the database, and the cost of a built-in function, which is the catalogue's and not in a dump.
DO $$
DECLARE
  former text;
  statement text;
BEGIN
  FOR former IN
    SELECT split_part(line, '=', 1)
    FROM pg_catalog.pg_db_role_setting AS kept CROSS JOIN unnest(kept.setconfig) AS line
    WHERE kept.setrole = 0 AND
          kept.setdatabase = (SELECT oid FROM pg_catalog.pg_database WHERE datname = current_database()) AND
          line IN ('random_page_cost=1.1', 'parallel_setup_cost=5000', 'jit=off', 'enable_partitionwise_aggregate=on')
  LOOP
    statement := format('ALTER DATABASE %I RESET %s', current_database(), former);
    BEGIN
      EXECUTE statement;
    EXCEPTION
      WHEN insufficient_privilege THEN RAISE WARNING 'this role may not take a setting back; a superuser runs: %', statement;
    END;
  END LOOP;
END
$$;
DO $$
BEGIN
  IF (SELECT procost FROM pg_catalog.pg_proc WHERE oid = 'pg_catalog.texticlike(text, text)'::regprocedure) = 200 THEN
    ALTER FUNCTION pg_catalog.texticlike(text, text) COST 1;
  END IF;
EXCEPTION
  WHEN insufficient_privilege THEN
    RAISE WARNING 'this role may not take a setting back; a superuser runs in this database: ALTER FUNCTION '
                  'pg_catalog.texticlike(text, text) COST 1';
END
$$;
