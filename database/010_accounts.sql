-- What an administrator does to accounts, who did what at the door, and rights that go by role.

-- session_epoch: a session that began under another one has ended. must_change_password: somebody else knows the password.
ALTER TABLE platform.users
  ADD COLUMN must_change_password boolean NOT NULL DEFAULT false,
  ADD COLUMN session_epoch        integer NOT NULL DEFAULT 0;

-- A role is a name for permissions; kind and code are those of platform.permissions.
CREATE TABLE platform.roles (
  name        text PRIMARY KEY,
  description text NOT NULL DEFAULT ''
);
CREATE TABLE platform.role_permissions (
  role text    NOT NULL REFERENCES platform.roles (name),
  kind integer NOT NULL,
  code integer NOT NULL,
  PRIMARY KEY (role, kind, code)
);
-- A role that a user no longer has stays with `granted` false, so that the program needs no DELETE privilege.
CREATE TABLE platform.user_roles (
  user_id integer NOT NULL REFERENCES platform.users (id),
  role    text    NOT NULL REFERENCES platform.roles (name),
  granted boolean NOT NULL DEFAULT true,
  PRIMARY KEY (user_id, role)
);

INSERT INTO platform.roles (name, description) VALUES
  ('operator', 'creates and changes evidences'),
  ('supervisor', 'what an operator may, and keeps types and custom attributes'),
  ('custodian', 'confirms deletions'),
  ('auditor', 'reads who came in and what was done'),
  ('administrator', 'manages users and their sessions');
INSERT INTO platform.role_permissions (role, kind, code) VALUES
  ('operator', 2, 41), ('operator', 2, 44),
  ('supervisor', 2, 41), ('supervisor', 2, 44),
  ('supervisor', 1, 1423), ('supervisor', 1, 1424), ('supervisor', 1, 1425),
  ('supervisor', 1, 1427), ('supervisor', 1, 1428), ('supervisor', 1, 1429),
  ('custodian', 3, 43);

-- What a user may do: what is granted to him, and what his roles may.
CREATE VIEW platform.user_permissions AS
  SELECT user_id, kind, code FROM platform.permissions WHERE granted
  UNION
  SELECT u.user_id, p.kind, p.code
  FROM platform.user_roles AS u JOIN platform.role_permissions AS p ON p.role = u.role WHERE u.granted;

-- One row. Every change of users, permissions and roles changes its revision, which is all that running hosts poll. The
-- row stays locked to the end of the change: whoever reads a revision reads what was changed, too.
CREATE TABLE platform.account_change (
  only_row boolean PRIMARY KEY DEFAULT true CHECK (only_row),
  revision bigint NOT NULL
);
INSERT INTO platform.account_change (revision) VALUES (0);

-- It runs as its owner: the program itself may not change the revision.
CREATE FUNCTION platform.note_account_change() RETURNS trigger LANGUAGE plpgsql
SECURITY DEFINER SET search_path = pg_catalog AS $$
BEGIN
  UPDATE platform.account_change SET revision = revision + 1;
  RETURN NULL;
END
$$;
CREATE TRIGGER note_change AFTER INSERT OR UPDATE OR DELETE OR TRUNCATE ON platform.users
  FOR EACH STATEMENT EXECUTE FUNCTION platform.note_account_change();
CREATE TRIGGER note_change AFTER INSERT OR UPDATE OR DELETE OR TRUNCATE ON platform.permissions
  FOR EACH STATEMENT EXECUTE FUNCTION platform.note_account_change();
CREATE TRIGGER note_change AFTER INSERT OR UPDATE OR DELETE OR TRUNCATE ON platform.roles
  FOR EACH STATEMENT EXECUTE FUNCTION platform.note_account_change();
CREATE TRIGGER note_change AFTER INSERT OR UPDATE OR DELETE OR TRUNCATE ON platform.role_permissions
  FOR EACH STATEMENT EXECUTE FUNCTION platform.note_account_change();
CREATE TRIGGER note_change AFTER INSERT OR UPDATE OR DELETE OR TRUNCATE ON platform.user_roles
  FOR EACH STATEMENT EXECUTE FUNCTION platform.note_account_change();

-- Who came in, who was refused, and what was done to accounts. user_name is whom it is about, done_by who did it; both are
-- as sent, of whatever name. At the command line there is neither address nor request.
CREATE SEQUENCE platform.auth_event_id_seq;
CREATE TABLE platform.auth_event (
  id             bigint PRIMARY KEY DEFAULT nextval('platform.auth_event_id_seq'),
  occurred_at    timestamptz NOT NULL DEFAULT clock_timestamp(),
  kind           text NOT NULL,
  user_name      text NOT NULL DEFAULT '',
  done_by        text NOT NULL DEFAULT '',
  client_address text NOT NULL DEFAULT '',
  request_id     text NOT NULL DEFAULT '',
  detail         text NOT NULL DEFAULT ''
);
ALTER SEQUENCE platform.auth_event_id_seq OWNED BY platform.auth_event.id;
CREATE INDEX auth_event_time ON platform.auth_event (occurred_at);
CREATE INDEX auth_event_user ON platform.auth_event (user_name, id);

-- Rights: of an account the program changes what it has a statement for.
REVOKE INSERT, UPDATE ON platform.users, platform.permissions, platform.user_roles, platform.roles,
  platform.role_permissions, platform.user_permissions, platform.account_change, platform.auth_event FROM evidence_app;
GRANT INSERT (name, password_hash, super_user, must_change_password),
  UPDATE (password_hash, super_user, enabled, must_change_password, session_epoch) ON platform.users TO evidence_app;
GRANT INSERT, UPDATE (granted) ON platform.permissions, platform.user_roles TO evidence_app;
GRANT INSERT ON platform.auth_event TO evidence_app;
