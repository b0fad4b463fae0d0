#pragma once

#include <optional>
#include <string>
#include <vector>

#include "AsoKit/calendar.h"
#include "app/store/records.h"

namespace tovra::store {

class Store;

// What one query came to in a run, as the run's finishing step writes it.
struct RunItem {
  RecordId<TrackedQuery> query;
  RunOutcomeStatus status = RunOutcomeStatus::skipped;
  std::optional<std::string> message;
  // The day's reading of a measured query: rank, result count and source. Its day and time are the run's.
  std::optional<std::int64_t> rank;
  std::int64_t resultCount = 0;
  std::string source;
};

struct WrittenRun {
  MeasurementRun run;
  std::vector<RunOutcome> outcomes;  // one per item, in item order
  std::int64_t readingsInserted = 0;
  std::int64_t readingsUpdated = 0;  // a second run of the same day replaced that day's reading
};

// Writes a finished run in one transaction: the run record, one outcome per item, and for each measured
// item the reading of `day` (the run's day; every reading carries `run.finishedAt` as its time). A query
// keeps one reading per calendar day: an earlier reading of the same day is updated in place, so the
// first run's outcomes still link to it. An item whose keyword was deleted while the run went on keeps
// its outcome without a keyword or reading. Throws StoreError; the store is then as it was.
WrittenRun writeRun(Store& store, const MeasurementRun& run, asokit::WallTime day, const std::vector<RunItem>& items,
                    const asokit::Calendar& calendar);

// Whether the store holds any reading at all (one row looked at, however large the store).
bool hasAnyReading(Store& store);

}  // namespace tovra::store
