-- Which of the file manager's files belong to which evidence.

CREATE SCHEMA filemanager;

-- A removed link stays as a row, so that the role needs no DELETE privilege.
CREATE TABLE filemanager.link (
  file_id     integer NOT NULL,
  evidence_id integer NOT NULL,
  linked      boolean NOT NULL,
  create_time timestamptz NOT NULL DEFAULT now(),
  update_time timestamptz NOT NULL DEFAULT now(),
  PRIMARY KEY (evidence_id, file_id)
);

GRANT USAGE ON SCHEMA filemanager TO evidence_app;
GRANT SELECT, INSERT, UPDATE ON filemanager.link TO evidence_app;
