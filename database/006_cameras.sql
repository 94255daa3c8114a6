-- Cameras and other elements, and the devices they belong to. A row that a newer list leaves out stays without `listed`,
-- so that the role needs no right to delete.

CREATE TABLE platform.devices (
  id       integer PRIMARY KEY CHECK (id > 0),
  type     integer NOT NULL CHECK (type >= 0),
  protocol integer NOT NULL CHECK (protocol >= 0),
  name     text NOT NULL CHECK (char_length(name) BETWEEN 1 AND 256),
  listed   boolean NOT NULL DEFAULT true
);

-- An element without a device lies on none.
CREATE TABLE platform.elements (
  id        integer PRIMARY KEY CHECK (id > 0),
  name      text NOT NULL CHECK (char_length(name) BETWEEN 1 AND 256),
  device_id integer REFERENCES platform.devices (id),
  listed    boolean NOT NULL DEFAULT true
);

-- One row. Whoever changes the list gives it another revision: running hosts look at nothing else.
CREATE TABLE platform.camera_list (
  only_row boolean PRIMARY KEY DEFAULT true CHECK (only_row),
  revision bigint NOT NULL
);
INSERT INTO platform.camera_list (revision) VALUES (0);
REVOKE INSERT ON platform.camera_list FROM evidence_app;
