-- Who asked for what, and when it was answered: a row for each request of a session that the host runs and notes. The
-- program adds and reads; the owner drops whole months. Ids come from the path, from a list in the body, or from the
-- answer to a creation; those of evidences stand in evidence_ids, too. error_module and error_code are the pair of the
-- answer, NULL when it has none.
CREATE SEQUENCE platform.request_log_id_seq;
CREATE TABLE platform.request_log (
  answered_at    timestamptz NOT NULL,
  id             bigint   NOT NULL,
  user_id        integer  NOT NULL,
  user_name      text     NOT NULL,
  session        text     NOT NULL,
  client_address text     NOT NULL,
  request_id     text     NOT NULL,
  method         text     NOT NULL,
  path           text     NOT NULL,
  ids            bigint[] NOT NULL,
  evidence_ids   bigint[] NOT NULL,
  status         integer  NOT NULL,
  error_module   bigint,
  error_code     bigint,
  bytes_in       bigint   NOT NULL,
  bytes_out      bigint   NOT NULL,
  -- Also tells whether rows whose COPY had no answer are there.
  PRIMARY KEY (answered_at, id)
) PARTITION BY RANGE (answered_at);
ALTER SEQUENCE platform.request_log_id_seq OWNED BY platform.request_log.id;
CREATE INDEX request_log_evidence ON platform.request_log USING gin (evidence_ids) WHERE evidence_ids <> '{}';

-- Each set-up makes the partitions of the months to come, as the program may make none (every_setup.sql). Rows of a month
-- that has none are here, so that no row is ever refused.
CREATE TABLE platform.request_log_rest PARTITION OF platform.request_log DEFAULT;

REVOKE UPDATE ON platform.request_log FROM evidence_app;
-- Used through its table alone.
REVOKE ALL ON platform.request_log_rest FROM evidence_app;
