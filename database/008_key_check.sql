-- A value made with the key with which passwords are stored here, so that a host with another key is noticed before it
-- stores one. At most one row, which never changes.
CREATE TABLE platform.key_check (
  only_row boolean PRIMARY KEY DEFAULT true CHECK (only_row),
  value    text NOT NULL
);
REVOKE UPDATE ON platform.key_check FROM evidence_app;
