// Finders of the measurement kinds: readings, review marks, runs and their outcomes.

#include "app/store/dates.h"
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
  // The same calendar day, not the same instant: the day's start is looked up as a range, so a reading
  // written under another time-zone rule for that day is still found.
  const auto from = toMillis(calendar.startOfDay(reading.day));
  const auto to = toMillis(calendar.addDays(reading.day, 1));
  Transaction transaction(store());
  auto existing =
      selectOne("WHERE query = ? AND day >= ? AND day < ? ORDER BY day, pk LIMIT 1", [&](SQLite::Statement& s) {
        s.bind(1, reading.query->value);
        s.bind(2, static_cast<std::int64_t>(from));
        s.bind(3, static_cast<std::int64_t>(to));
      });
  RecordedReading result;
  if (existing) {
    existing->measuredAt = reading.measuredAt;
    existing->rank = reading.rank;
    existing->resultCount = reading.resultCount;
    existing->source = reading.source;
    update(*existing);
    result = RecordedReading{*existing, false};
  } else {
    result = RecordedReading{insert(reading), true};
  }
  transaction.commit();
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
