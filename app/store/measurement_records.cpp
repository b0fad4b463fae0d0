// Finders of the measurement kinds: readings, review marks, runs and their outcomes.

#include "app/store/dates.h"
#include "app/store/mapping.h"
#include "app/store/repositories.h"
#include "app/store/sql.h"
#include "app/store/transaction.h"

namespace tovra::store {

std::vector<StoredObservation> Observations::ofQuery(RecordId<TrackedQuery> query) const {
  return select("WHERE query = ? ORDER BY day, pk", [&](SQLite::Statement& s) { s.bind(1, query.value); });
}

std::optional<StoredObservation> Observations::latestOf(RecordId<TrackedQuery> query) const {
  return selectOne("WHERE query = ? ORDER BY day DESC, pk DESC LIMIT 1",
                   [&](SQLite::Statement& s) { s.bind(1, query.value); });
}

std::vector<StoredObservation> Observations::latestPerQuery() const {
  // One index probe per keyword instead of a scan of every reading.
  return select(
      "WHERE pk IN (SELECT (SELECT o.pk FROM StoredObservation o WHERE o.query = q.pk ORDER BY o.day DESC, o.pk DESC "
      "LIMIT 1) FROM TrackedQuery q) ORDER BY query",
      [](SQLite::Statement&) {});
}

RecordedReading Observations::recordDay(const StoredObservation& reading, const asokit::Calendar& calendar) {
  if (!reading.query) {
    throw StoreError(StoreError::Kind::constraint, "A reading must belong to a keyword.");
  }
  Mapping<StoredObservation>::validate(reading);
  // The same calendar day, not the same instant: the day's start is looked up as a range, so a reading
  // written under another time-zone rule for that day is still found.
  const auto from = toMillis(calendar.startOfDay(reading.day));
  const auto to = toMillis(calendar.addDays(reading.day, 1));
  // A run writes thousands of readings inside its own transaction; a savepoint around each one would
  // cost more than the reading. Alone, the look and the write still need one of their own.
  std::optional<Transaction> transaction;
  if (!store().inTransaction()) {
    transaction.emplace(store());
  }
  RecordedReading result = guarded("saving the change", [&] {
    std::optional<StoredObservation> existing;
    {
      // Row and day come from the (query, day) index alone.
      Prepared find(store(),
                    "SELECT pk, day FROM StoredObservation WHERE query = ?1 AND day >= ?2 AND day < ?3 "
                    "ORDER BY day, pk LIMIT 1");
      find->bind(1, reading.query->value);
      find->bind(2, static_cast<std::int64_t>(from));
      find->bind(3, static_cast<std::int64_t>(to));
      if (find->executeStep()) {
        existing = reading;
        existing->rowId = RecordId<StoredObservation>{find->getColumn(0).getInt64()};
        existing->day = sql::time(*find, 1);
      }
    }
    if (!existing) {
      return RecordedReading{insert(reading), true};
    }
    // Only the reading's own values change; leaving query and day out of the update keeps the index
    // entry where it is, so a second run of the day does not rewrite the index.
    Prepared update(store(),
                    "UPDATE StoredObservation SET measuredAt = ?1, rank = ?2, resultCount = ?3, source = ?4 "
                    "WHERE pk = ?5");
    sql::bind(*update, 1, reading.measuredAt);
    sql::bind(*update, 2, reading.rank);
    update->bind(3, reading.resultCount);
    update->bind(4, reading.source);
    update->bind(5, existing->rowId.value);
    update->exec();
    return RecordedReading{*existing, false};
  });
  if (transaction) {
    transaction->commit();
  }
  return result;
}

std::vector<ReviewMark> ReviewMarks::ofQuery(RecordId<TrackedQuery> query) const {
  return select("WHERE query = ? ORDER BY day, pk", [&](SQLite::Statement& s) { s.bind(1, query.value); });
}

std::optional<MeasurementRun> Runs::latest() const {
  return selectOne("ORDER BY startedAt DESC, pk DESC LIMIT 1", [](SQLite::Statement&) {});
}

std::vector<RunOutcome> Outcomes::ofRun(RecordId<MeasurementRun> run) const {
  return select("WHERE run = ? ORDER BY pk", [&](SQLite::Statement& s) { s.bind(1, run.value); });
}

std::vector<RunOutcome> Outcomes::ofQuery(RecordId<TrackedQuery> query) const {
  return select("WHERE query = ? ORDER BY pk", [&](SQLite::Statement& s) { s.bind(1, query.value); });
}

std::vector<RunOutcome> Outcomes::ofObservation(RecordId<StoredObservation> observation) const {
  return select("WHERE observation = ? ORDER BY pk", [&](SQLite::Statement& s) { s.bind(1, observation.value); });
}

}  // namespace tovra::store
