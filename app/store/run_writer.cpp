#include "app/store/run_writer.h"

#include <unordered_set>

#include "app/store/reading_periods.h"
#include "app/store/sql.h"
#include "app/store/store.h"
#include "app/store/transaction.h"

namespace tovra::store {

WrittenRun writeRun(Store& store, const MeasurementRun& run, asokit::WallTime day, const std::vector<RunItem>& items,
                    const asokit::Calendar& calendar) {
  Transaction transaction(store);
  WrittenRun written;
  written.run = store.runs().insert(run);

  // Read inside the transaction, so no keyword can vanish between this look and the writes below.
  const auto ids = store.queries().allIds();
  const std::unordered_set<RecordId<TrackedQuery>> present(ids.begin(), ids.end());

  auto observations = store.observations();
  auto outcomes = store.outcomes();
  written.outcomes.reserve(items.size());
  for (const auto& item : items) {
    RunOutcome outcome;
    outcome.setStatus(item.status);
    outcome.message = item.message;
    outcome.run = written.run.rowId;
    std::optional<std::int64_t> period;
    if (present.contains(item.query)) {
      outcome.query = item.query;
      if (item.status == RunOutcomeStatus::measured) {
        StoredObservation reading;
        reading.day = day;
        reading.measuredAt = run.finishedAt.value_or(day);
        reading.rank = item.rank;
        reading.resultCount = item.resultCount;
        reading.source = item.source;
        reading.query = item.query;
        const auto recorded = observations.recordDay(reading, calendar);
        outcome.observation = recorded.observation.rowId;
        period = recorded.period;
        ++(recorded.inserted ? written.readingsInserted : written.readingsUpdated);
      } else {
        period = guarded("saving the change", [&] { return periods::periodOf(store, item.query, day); });
      }
    }
    written.outcomes.push_back(outcomes.insertInPeriod(outcome, period));
  }
  transaction.commit();
  return written;
}

bool hasAnyReading(Store& store) {
  return guarded("reading the store", [&] {
    Prepared statement(store, "SELECT EXISTS (SELECT 1 FROM StoredObservation)");
    statement->executeStep();
    return statement->getColumn(0).getInt() != 0;
  });
}

}  // namespace tovra::store
