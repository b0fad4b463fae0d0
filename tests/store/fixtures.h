#pragma once

#include <string>

#include "app/store/records.h"
#include "app/store/store.h"

namespace tovra::store::testing {

// An instant given in UTC.
WallTime utc(int year, unsigned month, unsigned day, int hour = 0, int minute = 0, int second = 0, int millis = 0);

TrackedApp makeApp(const std::string& appStoreId, const std::string& name = "Photo Lab");
TrackedQuery makeQuery(const std::string& keyword, const std::string& country, RecordId<TrackedApp> app);
TrackedQuery makeParkedQuery(const std::string& keyword, const std::string& country, RecordId<ResearchSpace> space);
ResearchSpace makeSpace(const std::string& id, const std::string& name = "Travel ideas");
StoredObservation makeReading(RecordId<TrackedQuery> query, WallTime day, std::optional<std::int64_t> rank);

// One of every kind, linked the way a run and a search leave them.
struct Linked {
  TrackedApp app;
  AppLocalization localization;
  TrackedQuery query;
  StoredObservation observation;
  ReviewMark mark;
  MeasurementRun run;
  RunOutcome outcome;
  SavedLadder ladder;
  SavedProbe probe;
};
Linked insertLinked(Store& store);

}  // namespace tovra::store::testing
