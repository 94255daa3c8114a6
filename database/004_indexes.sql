-- Indexes for the statements that requests run, chosen by measurement (bench/README.md). None of them may reject a
-- value that the rules accept: a b-tree row is limited to 2704 bytes, so only numbers, times, texts of at most 64
-- characters and user names are in one; platform.users has those names in an index with the same limit.

-- Word search: a trusted extension of PostgreSQL's own contrib, which the owner of a database may create.
CREATE EXTENSION IF NOT EXISTS pg_trgm;

-- Reading a page in the requested order, without a sort. The newest-first order is the default and is combined with
-- every filter, so its index also contains the numbers that are filtered by, and answers such counts alone. The count
-- that each creation makes reads the smallest of these.
CREATE INDEX evidence_live_local_create_time ON evidence.evidence
  (local_create_time, evidence_type_id, scene_id, outcome_id, evidence_status, add_mode, ID) WHERE deleted = 0;
CREATE INDEX evidence_live_create_time ON evidence.evidence (create_time, ID) WHERE deleted = 0;
CREATE INDEX evidence_live_name ON evidence.evidence (name) WHERE deleted = 0;
CREATE INDEX evidence_live_user_name ON evidence.evidence (evidence_create_user_name) WHERE deleted = 0;

-- Ranges of the two texts of unlimited length. SP-GiST splits a long value across levels.
CREATE INDEX evidence_live_begin_time ON evidence.evidence USING spgist (evidence_begin_time) INCLUDE (ID)
  WHERE deleted = 0;
CREATE INDEX evidence_live_end_time ON evidence.evidence USING spgist (evidence_end_time) INCLUDE (ID)
  WHERE deleted = 0;

-- Keywords and parts of guids. Searches scan the whole pending list, and a long list makes the planner avoid the index,
-- so it is kept short.
CREATE INDEX evidence_live_words ON evidence.evidence USING gin
  (name gin_trgm_ops, evidence_desc gin_trgm_ops, guid gin_trgm_ops, label gin_trgm_ops,
   releated_camera_ids gin_trgm_ops)
  WITH (gin_pending_list_limit = 256) WHERE deleted = 0;

-- Statements that delete by these columns do not filter live rows, so these indexes cover all rows.
CREATE INDEX evidence_file_id ON evidence.evidence_file (ID);
CREATE INDEX evidence_file_evidence ON evidence.evidence_file (evidence_id, deleted, file_type, ID);
CREATE INDEX evidence_custom_info_evidence ON evidence.evidence_custom_info (evidence_id);
CREATE INDEX evidence_custom_info_custom ON evidence.evidence_custom_info (custom_id);
CREATE INDEX operation_log_evidence ON evidence.operation_log (evidence_id);
CREATE INDEX incre_resource_source ON platform.incre_resource (source_type, version) INCLUDE (method, resource_id);

-- The list of files that belong to no evidence yet.
CREATE INDEX evidence_file_free_time ON evidence.evidence_file (begin_time, end_time, file_type)
  WHERE evidence_id = -1 AND deleted = 0;
CREATE INDEX evidence_file_free_words ON evidence.evidence_file USING gin (file_name gin_trgm_ops)
  WITH (gin_pending_list_limit = 256) WHERE evidence_id = -1 AND deleted = 0;

-- A count stays cheap only while the pages it scans are marked all-visible.
ALTER TABLE evidence.evidence SET (
  autovacuum_vacuum_scale_factor = 0, autovacuum_vacuum_threshold = 1000,
  autovacuum_vacuum_insert_scale_factor = 0, autovacuum_vacuum_insert_threshold = 1000,
  autovacuum_analyze_scale_factor = 0.02);
