-- Cameras and other elements, and the devices they belong to. A row that a newer list omits stays with `listed` false,
-- so that the role needs no DELETE privilege.

CREATE TABLE platform.devices (
  id       integer PRIMARY KEY CHECK (id > 0),
  type     integer NOT NULL CHECK (type >= 0),
  protocol integer NOT NULL CHECK (protocol >= 0),
  name     text NOT NULL CHECK (char_length(name) BETWEEN 1 AND 256),
  listed   boolean NOT NULL DEFAULT true
);

-- device_id is null for an element that belongs to no device.
CREATE TABLE platform.elements (
  id        integer PRIMARY KEY CHECK (id > 0),
  name      text NOT NULL CHECK (char_length(name) BETWEEN 1 AND 256),
  device_id integer REFERENCES platform.devices (id),
  listed    boolean NOT NULL DEFAULT true
);

-- One row. Every change of the list changes its revision, which is all that running hosts poll.
CREATE TABLE platform.camera_list (
  only_row boolean PRIMARY KEY DEFAULT true CHECK (only_row),
  revision bigint NOT NULL
);
INSERT INTO platform.camera_list (revision) VALUES (0);
REVOKE INSERT ON platform.camera_list FROM evidence_app;
