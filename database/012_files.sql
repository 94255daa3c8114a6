-- Files whose bytes are kept: one row from the moment an upload is opened. The bytes of a row that is whole lie in the
-- store under their digest; equal contents lie there once. A row is never removed, nor are the bytes of a whole one.
CREATE TABLE filemanager.file (
  id              integer PRIMARY KEY CHECK (id > 0),
  -- receiving: an upload; whole; missing: the bytes are not in the store; altered: they are other bytes; removed: an
  -- upload that was ended before it was whole.
  state           text NOT NULL DEFAULT 'receiving'
                  CHECK (state IN ('receiving', 'whole', 'missing', 'altered', 'removed')),
  -- Of the bytes received. Set before they move to their place, so that a program that died between finds them.
  sha256          text CHECK (sha256 ~ '^[0-9a-f]{64}$'),
  expected_sha256 text CHECK (expected_sha256 ~ '^[0-9a-f]{64}$'),
  -- Announced at first, NULL when it was not; received from the moment sha256 is set.
  bytes           bigint CHECK (bytes >= 0),
  name            text NOT NULL,
  media_type      text NOT NULL,
  opened_at       timestamptz NOT NULL DEFAULT now(),
  -- Of the last bytes; NULL while there are none.
  received_at     timestamptz,
  -- When its bytes were not those that were expected; they are kept for an hour.
  refused_at      timestamptz,
  received_by     integer NOT NULL,
  received_by_name text NOT NULL,
  address         text NOT NULL,
  -- When the bytes were last compared with their digest.
  checked_at      timestamptz,
  source_begin    timestamptz,
  source_end      timestamptz,
  camera_id       integer,
  CHECK (state IN ('receiving', 'removed') OR (sha256 IS NOT NULL AND bytes IS NOT NULL))
);
CREATE INDEX file_unfinished ON filemanager.file (received_by) WHERE state = 'receiving';
CREATE INDEX file_to_check ON filemanager.file (checked_at, id) WHERE state IN ('whole', 'missing', 'altered');
CREATE INDEX file_digest ON filemanager.file (sha256);
CREATE INDEX link_file ON filemanager.link (file_id);

-- Ids of files. Links have named any number so far, and an old case must not get new bytes, so one that a link or an
-- evidence names is passed over.
CREATE SEQUENCE filemanager.file_id AS integer START 1;
CREATE FUNCTION filemanager.new_file_id() RETURNS integer LANGUAGE plpgsql AS $$
DECLARE
  candidate integer;
BEGIN
  LOOP
    candidate := nextval('filemanager.file_id');
    EXIT WHEN NOT EXISTS (SELECT FROM filemanager.link WHERE file_id = candidate) AND
              NOT EXISTS (SELECT FROM evidence.evidence_file WHERE ID = candidate) AND
              NOT EXISTS (SELECT FROM filemanager.file WHERE id = candidate);
  END LOOP;
  RETURN candidate;
END
$$;

-- How this site began: strict when its database was made with this script already in place.
CREATE TABLE filemanager.site (strict boolean NOT NULL);
INSERT INTO filemanager.site
  SELECT coalesce(min(applied_at) = now(), true) FROM platform.schema_version;

GRANT SELECT, INSERT, UPDATE ON filemanager.file TO evidence_app;
GRANT SELECT ON filemanager.site TO evidence_app;
GRANT USAGE ON SEQUENCE filemanager.file_id TO evidence_app;
