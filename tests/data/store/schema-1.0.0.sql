-- A store as schema 1.0.0 wrote it: readings and outcomes tied to their keyword directly. Two
-- keywords, readings on days that fall into different eight-day periods, two runs whose outcomes are
-- measured, failed and skipped (one without a keyword), and a review mark.
PRAGMA application_id = 1416590962;
PRAGMA user_version = 10000;
BEGIN;
CREATE TABLE TrackedApp (pk INTEGER PRIMARY KEY, appStoreId TEXT NOT NULL UNIQUE, displayName TEXT NOT NULL,
  developer TEXT NOT NULL, bundleId TEXT, artworkUrl512 TEXT, isMine INTEGER NOT NULL CHECK (isMine IN (0, 1)),
  addedAt INTEGER NOT NULL) STRICT;
CREATE TABLE AppLocalization (pk INTEGER PRIMARY KEY, country TEXT NOT NULL, name TEXT NOT NULL,
  developer TEXT NOT NULL, fetchedAt INTEGER NOT NULL, app INTEGER REFERENCES TrackedApp(pk) ON DELETE SET NULL) STRICT;
CREATE TABLE TrackedQuery (pk INTEGER PRIMARY KEY, keyword TEXT NOT NULL, country TEXT NOT NULL,
  provenanceRaw TEXT NOT NULL, addedAt INTEGER NOT NULL, isPaused INTEGER NOT NULL CHECK (isPaused IN (0, 1)),
  app INTEGER REFERENCES TrackedApp(pk) ON DELETE CASCADE,
  space INTEGER REFERENCES ResearchSpace(pk) ON DELETE CASCADE, CHECK (app IS NULL OR space IS NULL)) STRICT;
CREATE TABLE StoredObservation (pk INTEGER PRIMARY KEY, day INTEGER NOT NULL, measuredAt INTEGER NOT NULL,
  rank INTEGER CHECK (rank IS NULL OR rank >= 1), resultCount INTEGER NOT NULL, source TEXT NOT NULL,
  query INTEGER REFERENCES TrackedQuery(pk) ON DELETE CASCADE) STRICT;
CREATE TABLE MeasurementRun (pk INTEGER PRIMARY KEY, startedAt INTEGER NOT NULL, finishedAt INTEGER,
  halted INTEGER NOT NULL CHECK (halted IN (0, 1)), stopped INTEGER NOT NULL CHECK (stopped IN (0, 1)),
  requestCount INTEGER NOT NULL, queryCount INTEGER NOT NULL) STRICT;
CREATE TABLE RunOutcome (pk INTEGER PRIMARY KEY, statusRaw TEXT NOT NULL, message TEXT,
  run INTEGER REFERENCES MeasurementRun(pk) ON DELETE CASCADE,
  query INTEGER REFERENCES TrackedQuery(pk) ON DELETE SET NULL,
  observation INTEGER REFERENCES StoredObservation(pk) ON DELETE SET NULL,
  CHECK (observation IS NULL OR statusRaw = 'measured')) STRICT;
CREATE TABLE ReviewMark (pk INTEGER PRIMARY KEY, day INTEGER NOT NULL, markedAt INTEGER NOT NULL,
  query INTEGER REFERENCES TrackedQuery(pk) ON DELETE SET NULL) STRICT;
CREATE TABLE StoredLadder (pk INTEGER PRIMARY KEY, keyword TEXT NOT NULL, country TEXT NOT NULL,
  fetchedAt INTEGER NOT NULL, enrichedDepth INTEGER NOT NULL, resultCount INTEGER NOT NULL, source TEXT NOT NULL) STRICT;
CREATE TABLE LadderEntry (pk INTEGER PRIMARY KEY, position INTEGER NOT NULL, appStoreId TEXT NOT NULL,
  name TEXT NOT NULL, developer TEXT NOT NULL, iconUrl TEXT, ratingCount INTEGER, averageRating REAL,
  ladder INTEGER REFERENCES StoredLadder(pk) ON DELETE CASCADE) STRICT;
CREATE TABLE HintProbe (pk INTEGER PRIMARY KEY, prefix TEXT NOT NULL, country TEXT NOT NULL,
  observedAt INTEGER NOT NULL, source TEXT NOT NULL,
  carriedPriority INTEGER NOT NULL CHECK (carriedPriority IN (0, 1))) STRICT;
CREATE TABLE StoreHint (pk INTEGER PRIMARY KEY, position INTEGER NOT NULL, term TEXT NOT NULL, priority INTEGER,
  probe INTEGER REFERENCES HintProbe(pk) ON DELETE CASCADE) STRICT;
CREATE TABLE ResearchSpace (pk INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, name TEXT NOT NULL, note TEXT,
  createdAt INTEGER NOT NULL, promotedToAppStoreId TEXT, promotedAt INTEGER) STRICT;
CREATE INDEX AppLocalization_app ON AppLocalization(app, country);
CREATE INDEX TrackedApp_addedAt ON TrackedApp(addedAt);
CREATE INDEX TrackedQuery_app ON TrackedQuery(app, keyword, country);
CREATE INDEX TrackedQuery_space ON TrackedQuery(space, keyword, country);
CREATE INDEX StoredObservation_query_day ON StoredObservation(query, day);
CREATE INDEX MeasurementRun_startedAt ON MeasurementRun(startedAt);
CREATE INDEX RunOutcome_run ON RunOutcome(run);
CREATE INDEX RunOutcome_query ON RunOutcome(query);
CREATE INDEX RunOutcome_observation ON RunOutcome(observation);
CREATE INDEX ReviewMark_query_day ON ReviewMark(query, day);
CREATE INDEX StoredLadder_keyword_country ON StoredLadder(keyword, country, fetchedAt);
CREATE INDEX StoredLadder_fetchedAt ON StoredLadder(fetchedAt);
CREATE INDEX LadderEntry_ladder ON LadderEntry(ladder, position);
CREATE INDEX HintProbe_prefix_country ON HintProbe(prefix, country, observedAt);
CREATE INDEX HintProbe_observedAt ON HintProbe(observedAt);
CREATE INDEX StoreHint_probe ON StoreHint(probe, position);
CREATE INDEX ResearchSpace_createdAt ON ResearchSpace(createdAt);

INSERT INTO TrackedApp VALUES (1, '1000000001', 'Photo Lab', 'Lab Works', NULL, NULL, 1, 1735689600000);
INSERT INTO TrackedQuery VALUES (1, 'photo editor', 'us', 'typedByUser', 1735689600000, 0, 1, NULL);
INSERT INTO TrackedQuery VALUES (2, 'collage', 'de', 'typedByUser', 1735689600000, 0, 1, NULL);
-- 2025-01-05, 2025-01-13 and 2025-01-14 (Berlin days); the first lies in an earlier period.
INSERT INTO StoredObservation VALUES (1, 1736118000000, 1736845200000, 12, 200, 'run', 1);
INSERT INTO StoredObservation VALUES (2, 1736809200000, 1736845260000, 4, 180, 'run', 1);
INSERT INTO StoredObservation VALUES (3, 1736809200000, 1736845260000, NULL, 90, 'run', 2);
INSERT INTO StoredObservation VALUES (4, 1736895600000, 1736931720000, NULL, 181, 'run', 1);
INSERT INTO MeasurementRun VALUES (1, 1736845200000, 1736845260000, 0, 0, 2, 2);
INSERT INTO MeasurementRun VALUES (2, 1736931600000, 1736931720000, 1, 0, 3, 3);
INSERT INTO RunOutcome VALUES (1, 'measured', NULL, 1, 1, 2);
INSERT INTO RunOutcome VALUES (2, 'measured', NULL, 1, 2, 3);
INSERT INTO RunOutcome VALUES (3, 'measured', NULL, 2, 1, 4);
INSERT INTO RunOutcome VALUES (4, 'failed', 'HTTP 500 — https://search.example/x', 2, 2, NULL);
INSERT INTO RunOutcome VALUES (5, 'skipped', 'The run stopped before this keyword.', 2, NULL, NULL);
INSERT INTO ReviewMark VALUES (1, 1736809200000, 1736845300000, 1);
COMMIT;
