-- The evidence plugin's tables. Keys come from the sequences, drawn by the plugin before it inserts; deleted is 0 for a
-- live row and 1 for a deleted one, and rows are never removed. create_time and update_time are UTC; local times are
-- stored with their offset in minutes east of UTC.

CREATE SCHEMA evidence;

-- The evidence's own begin and end are texts in ISO order: a record without them has '', and values read back
-- unchanged.
CREATE TABLE evidence.evidence (
  ID                        integer PRIMARY KEY,
  evidence_type_id          integer NOT NULL DEFAULT -1,
  scene_id                  integer NOT NULL DEFAULT 0,
  outcome_id                integer NOT NULL DEFAULT 0,
  evidence_status           integer NOT NULL DEFAULT 0,
  evidence_create_user_id   integer NOT NULL DEFAULT 0,
  create_time_offset        integer NOT NULL DEFAULT 0,
  update_time_offset        integer NOT NULL DEFAULT 0,
  create_time               timestamp without time zone,
  local_create_time         timestamp without time zone,
  update_time               timestamp without time zone,
  local_update_time         timestamp without time zone,
  deleted                   integer NOT NULL DEFAULT 0,
  add_mode                  integer NOT NULL DEFAULT 0,
  upload_mode               integer NOT NULL DEFAULT 0,
  upload_status             integer NOT NULL DEFAULT -1,
  guid                      text NOT NULL DEFAULT '',
  name                      text NOT NULL DEFAULT '',
  evidence_create_user_name text NOT NULL DEFAULT '',
  evidence_begin_time       text COLLATE "C" NOT NULL DEFAULT '',
  evidence_end_time         text COLLATE "C" NOT NULL DEFAULT '',
  upload_begin_time         text NOT NULL DEFAULT '',
  upload_end_time           text NOT NULL DEFAULT '',
  record_begin_time         text NOT NULL DEFAULT '',
  record_end_time           text NOT NULL DEFAULT '',
  cad_id                    text NOT NULL DEFAULT '',
  label                     text NOT NULL DEFAULT '',
  releated_camera_ids       text NOT NULL DEFAULT '',  -- sic
  succeed_camera_ids        text NOT NULL DEFAULT '',
  evidence_desc             text NOT NULL DEFAULT ''
);
CREATE UNIQUE INDEX evidence_live_guid ON evidence.evidence (guid) WHERE deleted = 0;

CREATE TABLE evidence.evidence_type (
  ID          integer PRIMARY KEY,
  deleted     integer NOT NULL DEFAULT 0,
  create_time timestamp without time zone,
  update_time timestamp without time zone,
  name        text NOT NULL DEFAULT ''
);

CREATE TABLE evidence.evidence_scense (  -- sic
  ID          integer PRIMARY KEY,
  deleted     integer NOT NULL DEFAULT 0,
  create_time timestamp without time zone,
  update_time timestamp without time zone,
  name        text NOT NULL DEFAULT ''
);

CREATE TABLE evidence.evidence_outcome (
  ID          integer PRIMARY KEY,
  deleted     integer NOT NULL DEFAULT 0,
  create_time timestamp without time zone,
  update_time timestamp without time zone,
  name        text NOT NULL DEFAULT ''
);

CREATE TABLE evidence.evidence_custom (
  ID          integer PRIMARY KEY,
  types       integer NOT NULL DEFAULT 0,
  deleted     integer NOT NULL DEFAULT 0,
  create_time timestamp without time zone,
  update_time timestamp without time zone,
  name        text NOT NULL DEFAULT ''
);

CREATE TABLE evidence.evidence_option (
  ID        integer PRIMARY KEY,
  custom_id integer NOT NULL DEFAULT 0,
  deleted   integer NOT NULL DEFAULT 0,
  name      text NOT NULL DEFAULT ''
);

-- One row for each chosen option; the rows of one attribute in one evidence share their key.
CREATE TABLE evidence.evidence_custom_info (
  ID          integer NOT NULL,
  evidence_id integer NOT NULL DEFAULT 0,
  custom_id   integer NOT NULL DEFAULT 0,
  option_id   integer NOT NULL DEFAULT 0,
  deleted     integer NOT NULL DEFAULT 0,
  option_text text NOT NULL DEFAULT ''
);

-- One file may belong to several evidences, even twice to one, so its key is not unique. evidence_id is
-- -1 for a file that belongs to none.
CREATE TABLE evidence.evidence_file (
  ID          integer NOT NULL,
  file_type   integer NOT NULL DEFAULT 0,
  evidence_id integer NOT NULL DEFAULT -1,
  time_offset integer NOT NULL DEFAULT 0,
  begin_time  timestamp without time zone,
  end_time    timestamp without time zone,
  deleted     integer NOT NULL DEFAULT 0,
  guid        text NOT NULL DEFAULT '',
  digest      text NOT NULL DEFAULT '',
  file_name   text NOT NULL DEFAULT '',
  file_path   text NOT NULL DEFAULT ''
);

-- The history of an evidence. An entry whose key could not be drawn holds -1, so the key is not unique.
CREATE TABLE evidence.operation_log (
  ID                integer NOT NULL,
  evidence_id       integer NOT NULL DEFAULT -1,
  operation_type    integer NOT NULL DEFAULT 0,
  occur_time_offset integer NOT NULL DEFAULT 0,
  occur_local_time  timestamp without time zone,
  mod_type          integer NOT NULL DEFAULT -1,
  client_type       integer NOT NULL DEFAULT -1,
  user_name         text NOT NULL DEFAULT '',
  user_ip           text NOT NULL DEFAULT '',
  file_name         text NOT NULL DEFAULT '',
  camera_name       text NOT NULL DEFAULT '',
  dev_name          text NOT NULL DEFAULT '',
  dev_ip            text NOT NULL DEFAULT '',
  before_mod        text NOT NULL DEFAULT '',
  after_mod         text NOT NULL DEFAULT ''
);

-- The storage settings: the one row with key 0.
CREATE TABLE evidence.ftp_setting (
  ID           integer PRIMARY KEY,
  enable       integer NOT NULL DEFAULT 0,
  type         integer NOT NULL DEFAULT 0,
  port         integer NOT NULL DEFAULT 0,
  storage_type integer NOT NULL DEFAULT 0,
  deleted      integer NOT NULL DEFAULT 0,
  update_time  timestamp without time zone,
  address      text NOT NULL DEFAULT '',
  username     text NOT NULL DEFAULT '',
  password     text NOT NULL DEFAULT '',
  path         text NOT NULL DEFAULT '',
  pool_name    text NOT NULL DEFAULT ''
);

-- Types and customs begin above the built-in rows.
CREATE SEQUENCE evidence.evidence_id_seq AS integer;
CREATE SEQUENCE evidence.evidence_type_id_seq AS integer START 6;
CREATE SEQUENCE evidence.evidence_scense_id_seq AS integer;
CREATE SEQUENCE evidence.evidence_outcome_id_seq AS integer;
CREATE SEQUENCE evidence.evidence_custom_id_seq AS integer START 6;
CREATE SEQUENCE evidence.evidence_option_id_seq AS integer;
CREATE SEQUENCE evidence.evidence_custom_info_id_seq AS integer;
CREATE SEQUENCE evidence.evidence_file_id_seq AS integer START 1000000001;
CREATE SEQUENCE evidence.operation_log_id_seq AS integer;

-- Built-in rows. Their empty names are filled in the reader's language.
INSERT INTO evidence.evidence_type (ID, name, create_time, deleted)
SELECT id, '', timezone('UTC', now()), 0 FROM generate_series(0, 5) AS id;
INSERT INTO evidence.evidence_custom (ID, name, types, create_time, deleted)
VALUES (1, '', 1, timezone('UTC', now()), 0),
       (2, '', 0, timezone('UTC', now()), 0),
       (3, '', 0, timezone('UTC', now()), 0);
INSERT INTO evidence.ftp_setting (ID, update_time, deleted) VALUES (0, timezone('UTC', now()), 0);
