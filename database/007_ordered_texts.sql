-- Pages in the order of texts of unlimited length. A b-tree provides an order and rejects a row above 2704 bytes, so an
-- evidence with a longer text of this kind is stored in a partition of its own, which has no such index. A page merges
-- the ordered rows of an index with the sorted rows of the other partition; they are few, and no value is rejected. An
-- update moves a row when its texts grow or shrink past the limit.

ALTER TABLE evidence.evidence RENAME TO evidence_ordinary;
CREATE TABLE evidence.evidence (LIKE evidence.evidence_ordinary INCLUDING DEFAULTS) PARTITION BY LIST
  ((greatest(octet_length(evidence_create_user_name), octet_length(evidence_begin_time),
             octet_length(evidence_end_time), octet_length(cad_id)) > 1000));
CREATE TABLE evidence.evidence_outsize PARTITION OF evidence.evidence (PRIMARY KEY (ID)) FOR VALUES IN (true);
CREATE UNIQUE INDEX evidence_outsize_live_guid ON evidence.evidence_outsize (guid) WHERE deleted = 0;
WITH outsize AS (
  DELETE FROM evidence.evidence_ordinary
  WHERE greatest(octet_length(evidence_create_user_name), octet_length(evidence_begin_time),
                 octet_length(evidence_end_time), octet_length(cad_id)) > 1000 RETURNING *)
INSERT INTO evidence.evidence_outsize SELECT * FROM outsize;
ALTER TABLE evidence.evidence ATTACH PARTITION evidence.evidence_ordinary FOR VALUES IN (false);

GRANT SELECT, INSERT, UPDATE ON evidence.evidence TO evidence_app;
REVOKE ALL ON evidence.evidence_ordinary, evidence.evidence_outsize FROM evidence_app;

-- Each partition enforces unique keys and guids for itself; this enforces them across both. Two writers of one guid are
-- serialized, and the second must see what the first has committed, so its check must be a separate statement. Guids
-- share 1024 locks, so that many rows written at once do not fill the server's lock table.
CREATE FUNCTION evidence.refuse_twin() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
  PERFORM pg_advisory_xact_lock(711, 1024 + (hashtext(NEW.guid) & 1023));
  IF EXISTS (SELECT FROM evidence.evidence WHERE guid = NEW.guid AND deleted = 0 AND tableoid <> TG_RELID) OR
     EXISTS (SELECT FROM evidence.evidence WHERE ID = NEW.ID AND tableoid <> TG_RELID) THEN
    RAISE unique_violation USING MESSAGE = format('evidence %s or its guid is there already', NEW.ID);
  END IF;
  RETURN NEW;
END
$$;
CREATE TRIGGER refuse_twin_of_new BEFORE INSERT ON evidence.evidence
  FOR EACH ROW WHEN (NEW.deleted = 0) EXECUTE FUNCTION evidence.refuse_twin();
CREATE TRIGGER refuse_twin_of_changed BEFORE UPDATE OF guid, deleted ON evidence.evidence
  FOR EACH ROW WHEN (NEW.deleted = 0 AND (NEW.guid <> OLD.guid OR OLD.deleted <> 0))
  EXECUTE FUNCTION evidence.refuse_twin();

-- The newest-first index also contains the other times: a page of an old month skips all newer rows within the index.
-- Its longest row has two texts at the limit.
DROP INDEX evidence.evidence_live_local_create_time, evidence.evidence_live_begin_time, evidence.evidence_live_end_time;
CREATE INDEX evidence_live_local_create_time ON evidence.evidence_ordinary
  (local_create_time, evidence_type_id, scene_id, outcome_id, evidence_status, add_mode, create_time,
   evidence_begin_time, evidence_end_time, ID) WHERE deleted = 0;
CREATE INDEX evidence_live_begin_time ON evidence.evidence_ordinary (evidence_begin_time, ID) WHERE deleted = 0;
CREATE INDEX evidence_live_end_time ON evidence.evidence_ordinary (evidence_end_time, ID) WHERE deleted = 0;
CREATE INDEX evidence_live_cad_id ON evidence.evidence_ordinary (cad_id) WHERE deleted = 0;

-- A keyword's page is read newest first when many rows match and through the trigram index when few do. A hundred
-- sampled names, the default, cannot tell one row in two hundred from none.
ALTER TABLE evidence.evidence ALTER COLUMN name SET STATISTICS 400;
ANALYZE evidence.evidence;

-- Planner settings. The tables fit into memory, so a random page costs little more than the next one. A
-- case-insensitive comparison converts each text to lower case first, which costs as much as some hundred other
-- comparisons. Workers take several milliseconds to start and pay off only for searches of all texts. JIT compilation
-- takes longer than it saves. The partitions are counted separately and then added up. Only the owner of the database
-- may set these, and only a superuser the cost of a built-in function; without them every answer is the same, but a
-- keyword that occurs only in old evidences takes long.
DO $$
DECLARE
  setting text;
BEGIN
  FOREACH setting IN ARRAY ARRAY['random_page_cost = 1.1', 'parallel_setup_cost = 5000', 'jit = off',
                                 'enable_partitionwise_aggregate = on'] LOOP
    EXECUTE format('ALTER DATABASE %I SET %s', current_database(), setting);
  END LOOP;
EXCEPTION
  WHEN insufficient_privilege THEN RAISE NOTICE 'the planner keeps its settings: %', SQLERRM;
END
$$;
DO $$
BEGIN
  ALTER FUNCTION pg_catalog.texticlike(text, text) COST 200;
EXCEPTION
  WHEN insufficient_privilege THEN RAISE NOTICE 'the case-blind comparison keeps its cost: %', SQLERRM;
END
$$;
