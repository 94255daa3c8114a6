-- The platform's own persistent state.

CREATE SCHEMA platform;

-- One row for each numbered script of this folder that has been applied.
CREATE TABLE platform.schema_version (
  version    integer PRIMARY KEY,
  applied_at timestamptz NOT NULL DEFAULT now()
);

-- The identity of this installation; one row.
CREATE TABLE platform.system (
  guid text NOT NULL
);
INSERT INTO platform.system (guid) VALUES (upper(gen_random_uuid()::text));

CREATE SEQUENCE platform.users_id_seq AS integer;
CREATE TABLE platform.users (
  id            integer PRIMARY KEY DEFAULT nextval('platform.users_id_seq'),
  name          text NOT NULL UNIQUE,
  password_hash text NOT NULL,
  super_user    boolean NOT NULL DEFAULT false,
  enabled       boolean NOT NULL DEFAULT true,
  created_at    timestamptz NOT NULL DEFAULT now()
);
ALTER SEQUENCE platform.users_id_seq OWNED BY platform.users.id;

-- kind: 1 web client, 2 CS client, 3 control client.
CREATE TABLE platform.permissions (
  user_id integer NOT NULL REFERENCES platform.users (id),
  kind    integer NOT NULL,
  code    integer NOT NULL,
  granted boolean NOT NULL DEFAULT true,
  PRIMARY KEY (user_id, kind, code)
);

-- main_code and sub_code are both 0 for an operation that succeeded.
CREATE SEQUENCE platform.operation_log_id_seq;
CREATE TABLE platform.operation_log (
  id             bigint PRIMARY KEY DEFAULT nextval('platform.operation_log_id_seq'),
  occurred_at    timestamptz NOT NULL DEFAULT now(),
  object_id      bigint NOT NULL DEFAULT -1,
  log_type       integer NOT NULL,
  main_code      integer NOT NULL DEFAULT 0,
  sub_code       integer NOT NULL DEFAULT 0,
  user_name      text NOT NULL DEFAULT '',
  client_address text NOT NULL DEFAULT '',
  object_name    text NOT NULL DEFAULT '',
  description    text NOT NULL DEFAULT ''
);
ALTER SEQUENCE platform.operation_log_id_seq OWNED BY platform.operation_log.id;

-- The sequence has no cache: a session with cached numbers would hand them out after larger ones.
CREATE SEQUENCE platform.incre_resource_version_seq CACHE 1;
CREATE TABLE platform.incre_resource (
  version     bigint PRIMARY KEY,
  resource_id bigint NOT NULL,
  changed_at  timestamptz NOT NULL DEFAULT now(),
  source_type integer NOT NULL,
  method      integer NOT NULL
);
ALTER SEQUENCE platform.incre_resource_version_seq OWNED BY platform.incre_resource.version;
