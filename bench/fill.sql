-- The rows of bench/fill. Every choice is a hash of the row's number and a salt, so that all runs agree.

SET LOCAL synchronous_commit = off;
SET LOCAL work_mem = '256MB';

-- A number in 0 .. below-1 for row n; salts distinguish the choices of one row.
CREATE FUNCTION pg_temp.pick(n integer, salt integer, below integer) RETURNS integer LANGUAGE sql IMMUTABLE AS
$$ SELECT ((hashint8extended(n, salt) & 9223372036854775807) % below)::integer $$;

-- The same, with small numbers far more frequent than large ones.
CREATE FUNCTION pg_temp.skewed(n integer, salt integer, below integer) RETURNS integer LANGUAGE sql IMMUTABLE AS
$$ SELECT floor(below * power(pg_temp.pick(n, salt, 1000000) / 1000000.0, 3))::integer $$;

CREATE FUNCTION pg_temp.hex(n integer, salt integer) RETURNS text LANGUAGE sql IMMUTABLE AS
$$ SELECT upper(md5(n || ':' || salt)) $$;

CREATE FUNCTION pg_temp.guid(n integer, salt integer) RETURNS text LANGUAGE sql IMMUTABLE AS
$$ SELECT upper(md5(n || ':' || salt)::uuid::text) $$;

-- Words ----------------------------------------------------------------------------------------------------

CREATE TEMP TABLE word ON COMMIT DROP AS
SELECT (row_number() OVER () - 1)::integer AS n, text FROM unnest(string_to_array(
  'the a was and at in of with from near by after before without seen entered left drove walked ran '
  'camera door gate car van bicycle person man woman group driver witness officer guard stairs platform '
  'entrance exit north south east west street station market parking garage bridge tunnel lobby corridor '
  'red blue green white black grey silver dark light jacket coat hood bag backpack case parcel phone knife '
  'theft robbery assault vandalism missing suspicious loitering collision fire alarm intrusion damage '
  'morning evening night noon hour minute monday friday report statement review footage frame clip copy '
  'Straße Gebäude Eingang Fahrzeug Täter Zeuge Überwachung Prüfung Schlüssel grün später früh Mädchen '
  'véhicule témoin entrée sortie plaque piéton garçon procès-verbal façade événement vidéo caméra '
  'señal peatón niño cámara vehículo puerta mañana averiguación sospechoso robo '
  'машина камера свидетель вход выход улица ночь человек куртка сумка кража осмотр '
  '车辆 行人 摄像头 入口 出口 可疑 盗窃 证据 街道 夜间 视频 停车场 カメラ 車両 目撃者 入口 出口 夜間', ' ')) AS text;

CREATE TEMP TABLE sentence ON COMMIT DROP AS
SELECT row.n, (SELECT string_agg(word.text, ' ' ORDER BY k) FROM generate_series(1, 6 + pg_temp.pick(row.n, 1, 9)) AS k
           JOIN word ON word.n = pg_temp.pick(row.n * 16 + k, 2, (SELECT count(*) FROM word)::integer)) || '.' AS text
FROM generate_series(0, 4999) AS row (n);
CREATE INDEX ON sentence (n);
ANALYZE word, sentence;

-- Dictionaries ---------------------------------------------------------------------------------------------

INSERT INTO evidence.evidence_type (ID, name, create_time, deleted)
SELECT n, 'Type ' || n, '2024-01-01 00:00:00', (n % 10 = 9)::integer FROM generate_series(6, 60) AS n;
INSERT INTO evidence.evidence_scense (ID, name, create_time, deleted)
SELECT n, 'Scene ' || n, '2024-01-01 00:00:00', 0 FROM generate_series(1, 40) AS n;
INSERT INTO evidence.evidence_outcome (ID, name, create_time, deleted)
SELECT n, 'Outcome ' || n, '2024-01-01 00:00:00', 0 FROM generate_series(1, 20) AS n;
-- Attribute 7 is free text, 2, 3 and 6 have as many options as one may have; those above are deleted.
INSERT INTO evidence.evidence_custom (ID, name, types, create_time, deleted)
SELECT n, 'Attribute ' || n, (n % 2)::integer, '2024-01-01 00:00:00', (n > 7)::integer FROM generate_series(6, 25) AS n;
INSERT INTO evidence.evidence_option (ID, name, custom_id, deleted)
SELECT n, 'Option ' || n, (ARRAY[2, 3, 6])[1 + n % 3], (n > 3000)::integer FROM generate_series(1, 3600) AS n;

-- Evidences: 105000 rows, of which one in 21 is deleted ------------------------------------------------

-- How many sentences a description has: mostly a few, one in fifty up to the limit of 20000 characters.
CREATE TEMP TABLE description ON COMMIT DROP AS
SELECT e.n, left(string_agg(sentence.text, ' ' ORDER BY k), 20000) AS text
FROM (SELECT n, CASE WHEN share < 10 THEN 0 WHEN share < 65 THEN 1 + pg_temp.pick(n, 11, 3)
                     WHEN share < 92 THEN 3 + pg_temp.pick(n, 12, 15) WHEN share < 98 THEN 15 + pg_temp.pick(n, 13, 60)
                     ELSE 50 + pg_temp.pick(n, 14, 300) END AS sentences
      FROM (SELECT n, pg_temp.pick(n, 10, 100) AS share FROM generate_series(1, 105000) AS n) AS shares) AS e
CROSS JOIN LATERAL generate_series(1, e.sentences) AS k
JOIN sentence ON sentence.n = pg_temp.pick(e.n * 512 + k, 15, 5000)
GROUP BY e.n;

INSERT INTO evidence.evidence (ID, guid, name, evidence_type_id, scene_id, outcome_id, evidence_desc, evidence_status,
  evidence_create_user_id, evidence_create_user_name, create_time_offset, create_time, local_create_time,
  update_time_offset, update_time, local_update_time, deleted, label, add_mode, upload_mode, upload_begin_time,
  upload_end_time, record_begin_time, record_end_time, releated_camera_ids, evidence_begin_time, evidence_end_time,
  cad_id, upload_status)
SELECT row.n, pg_temp.guid(row.n, 20),
  left('Case ' || (2019 + row.n / 15000) || '-' || lpad(row.n::text, 6, '0') || ' ' || s.text, 16 + pg_temp.skewed(row.n, 21, 49)),
  CASE WHEN pg_temp.pick(row.n, 22, 50) = 0 THEN -1 ELSE pg_temp.skewed(row.n, 23, 61) END,
  pg_temp.skewed(row.n, 24, 41), pg_temp.skewed(row.n, 25, 21), coalesce(d.text, ''), (pg_temp.pick(row.n, 26, 4) = 0)::integer,
  creator, 'Officer ' || substr(pg_temp.hex(creator, 27), 1, 8) || ' Müller', 60, utc, utc + interval '1 hour',
  60, utc + touched, utc + touched + interval '1 hour', (row.n % 21 = 20)::integer,
  (SELECT coalesce(string_agg('label ' || pg_temp.skewed(row.n * 8 + k, 28, 3000), '|' ORDER BY k), '')
   FROM generate_series(1, pg_temp.pick(row.n, 29, 5)) AS k),
  mode, CASE WHEN mode = 2 THEN 1 + pg_temp.pick(row.n, 30, 2) ELSE 0 END,
  CASE WHEN mode = 2 THEN began ELSE '' END, CASE WHEN mode = 2 THEN ended ELSE '' END,
  CASE WHEN mode = 2 THEN began ELSE '' END, CASE WHEN mode = 2 THEN ended ELSE '' END,
  (SELECT coalesce(string_agg((10000 + pg_temp.pick(row.n * 16 + k, 31, 20000))::text, ',' ORDER BY k), '')
   FROM generate_series(1, pg_temp.pick(row.n, 32, 9)) AS k),
  CASE WHEN row.n % 7 = 0 THEN '' ELSE began END, CASE WHEN row.n % 7 = 0 THEN '' ELSE ended END,
  CASE WHEN row.n % 3 = 0 THEN '' ELSE 'CAD-' || lpad(pg_temp.pick(row.n, 33, 900000)::text, 7, '0') END,
  CASE WHEN mode = 2 THEN pg_temp.pick(row.n, 34, 3) ELSE -1 END
FROM (SELECT n, timestamp '2019-01-01 00:00:00' + n * interval '2400 seconds'
             + pg_temp.pick(n, 35, 2400) * interval '1 second' AS utc,
        pg_temp.skewed(n, 36, 500) AS creator, (ARRAY[0, 0, 1, 1, 2, 3])[1 + pg_temp.pick(n, 37, 6)] AS mode,
        pg_temp.skewed(n, 38, 90) * interval '1 day' AS touched FROM generate_series(1, 105000) AS n) AS row
CROSS JOIN LATERAL (SELECT
  to_char(utc - pg_temp.skewed(n, 39, 72) * interval '1 hour', 'YYYY-MM-DD"T"HH24:MI:SS"+01:00"') AS began,
  to_char(utc + pg_temp.skewed(n, 40, 24) * interval '1 hour', 'YYYY-MM-DD"T"HH24:MI:SS"+01:00"') AS ended) AS period
LEFT JOIN description AS d USING (n)
JOIN sentence AS s ON s.n = pg_temp.pick(row.n, 41, 5000)
ORDER BY row.n;

-- Three values each, of one free text and two with options; a tenth of them replaced, the old ones deleted.
INSERT INTO evidence.evidence_custom_info (ID, evidence_id, custom_id, option_id, option_text, deleted)
SELECT n * 3 + k, n,
  CASE k WHEN 0 THEN 7 WHEN 1 THEN 6 ELSE 2 + pg_temp.pick(n, 50, 2) END,
  CASE k WHEN 0 THEN -1 ELSE 1 + pg_temp.pick(n * 4 + k, 53, 3000) END,
  CASE k WHEN 0 THEN (SELECT text FROM sentence WHERE sentence.n = pg_temp.pick(row.n, 54, 5000)) ELSE '' END,
  (n % 21 = 20)::integer
FROM generate_series(1, 105000) AS row (n) CROSS JOIN generate_series(0, 2) AS k
ORDER BY n, k;
INSERT INTO evidence.evidence_custom_info (ID, evidence_id, custom_id, option_id, option_text, deleted)
SELECT 400000 + n * 3 + k, n, (ARRAY[7, 6, 2])[1 + k], 1 + pg_temp.pick(n, 55, 3000), 'replaced', 1
FROM generate_series(1, 105000, 10) AS row (n) CROSS JOIN generate_series(0, 2) AS k;

-- Files: one in twenty belongs to no evidence yet, one in fifty is deleted.
INSERT INTO evidence.evidence_file (ID, file_type, file_name, file_path, begin_time, end_time, time_offset, evidence_id,
  guid, digest, deleted)
SELECT 1000000000 + n, 1 + pg_temp.skewed(n, 60, 8),
  'clip ' || (10000 + pg_temp.pick(n, 61, 20000)) || ' ' || (ARRAY['entrance', 'Straße', '入口', 'parking', 'вход'])[1 +
    pg_temp.pick(n, 62, 5)] || ' ' || substr(pg_temp.hex(n, 63), 1, 8) || '.mp4',
  '/store/' || (n / 10000) || '/' || pg_temp.hex(n, 64) || '.mp4', utc, utc, 60,
  CASE WHEN pg_temp.pick(n, 65, 20) = 0 THEN -1 ELSE 1 + pg_temp.pick(n, 66, 105000) END,
  pg_temp.guid(n, 67), lower(pg_temp.hex(n, 68) || pg_temp.hex(n, 69)), (pg_temp.pick(n, 70, 50) = 0)::integer
FROM generate_series(1, 1000000) AS n
CROSS JOIN LATERAL (SELECT timestamp '2019-01-01' + n * interval '252 seconds' AS utc) AS time
ORDER BY n;

INSERT INTO evidence.operation_log (ID, evidence_id, user_name, user_ip, operation_type, file_name, occur_local_time,
  occur_time_offset, camera_name, dev_name, dev_ip, mod_type, before_mod, after_mod, client_type)
SELECT n, CASE WHEN pg_temp.pick(n, 80, 30) = 0 THEN -1 ELSE 1 + pg_temp.pick(n, 81, 105000) END, who, ip,
  1 + pg_temp.skewed(n, 82, 5), CASE WHEN change > 0 THEN '' ELSE 'clip ' || n || '.mp4' END,
  timestamp '2019-01-01' + n * interval '840 seconds', 60, who, '', ip, change,
  CASE WHEN change > 0 THEN '-1:' || (SELECT text FROM sentence WHERE sentence.n = pg_temp.pick(row.n, 83, 5000)) ELSE '' END,
  CASE WHEN change > 0 THEN '-1:' || (SELECT text FROM sentence WHERE sentence.n = pg_temp.pick(row.n, 84, 5000)) ELSE '' END,
  1 + pg_temp.pick(n, 85, 3)
FROM generate_series(1, 300000) AS row (n)
CROSS JOIN LATERAL (SELECT 'Officer ' || substr(pg_temp.hex(pg_temp.skewed(n, 36, 500), 27), 1, 8) || ' Müller' AS who,
  '10.0.' || pg_temp.pick(n, 86, 250) || '.' || pg_temp.pick(n, 87, 250) AS ip,
  (ARRAY[-1, 1, 2, 5, 6, 7])[1 + pg_temp.pick(n, 88, 6)] AS change) AS entry
ORDER BY n;

-- Changes that clients fetch: few are of types (13001) and attributes (13005), most are of other plugins.
INSERT INTO platform.incre_resource (version, resource_id, source_type, method)
SELECT n, 1 + pg_temp.pick(n, 90, 105000), CASE WHEN pg_temp.pick(n, 91, 50) = 0 THEN 13001 + 4 * pg_temp.pick(n, 92, 2)
  ELSE 20000 END, pg_temp.pick(n, 93, 3)
FROM generate_series(1, 300000) AS n ORDER BY n;

SELECT setval('evidence.evidence_id_seq', 105000), setval('evidence.evidence_type_id_seq', 60),
  setval('evidence.evidence_scense_id_seq', 40), setval('evidence.evidence_outcome_id_seq', 20),
  setval('evidence.evidence_custom_id_seq', 25), setval('evidence.evidence_option_id_seq', 3600),
  setval('evidence.evidence_custom_info_id_seq', 800000), setval('evidence.evidence_file_id_seq', 1001000000),
  setval('evidence.operation_log_id_seq', 300000), setval('platform.incre_resource_version_seq', 300000)
\g /dev/null
