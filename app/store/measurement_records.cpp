// Finders of the measurement kinds: readings, review marks, runs and their outcomes.

#include <SQLiteCpp/Database.h>

#include <string>
#include <utility>

#include "app/store/dates.h"
#include "app/store/mapping.h"
#include "app/store/reading_periods.h"
#include "app/store/repositories.h"
#include "app/store/sql.h"
#include "app/store/transaction.h"

namespace tovra::store {

namespace {

void checkReading(const StoredObservation& reading) {
  if (!reading.query) {
    throw StoreError(StoreError::Kind::constraint, "A reading must belong to a keyword.");
  }
  Mapping<StoredObservation>::validate(reading);
}

std::string readingsOfQuery(std::string_view order, std::string_view limit = {}) {
  return "SELECT o.pk FROM " + std::string(periods::kReadingsOfQuery) + std::string(order) + std::string(limit);
}

}  // namespace

std::vector<StoredObservation> Observations::ofQuery(RecordId<TrackedQuery> query) const {
  return select("WHERE pk IN (" + readingsOfQuery({}) + ") ORDER BY day, pk",
                [&](SQLite::Statement& s) { s.bind(1, query.value); });
}

std::optional<StoredObservation> Observations::latestOf(RecordId<TrackedQuery> query) const {
  return selectOne("WHERE pk = (" + readingsOfQuery(periods::kNewestFirst, " LIMIT 1") + ")",
                   [&](SQLite::Statement& s) { s.bind(1, query.value); });
}

std::vector<StoredObservation> Observations::latestPerQuery() const {
  // One walk down each keyword's newest period instead of a scan of every reading.
  return select(
      "WHERE pk IN (SELECT (SELECT o.pk FROM ReadingPeriod p JOIN StoredObservation o ON o.period = p.pk "
      "WHERE p.query = q.pk" +
          std::string(periods::kNewestFirst) + " LIMIT 1) FROM TrackedQuery q) ORDER BY query",
      [](SQLite::Statement&) {});
}

StoredObservation Observations::insert(const StoredObservation& reading) {
  checkReading(reading);
  // A period made for a reading that then fails goes with it.
  auto transaction = Transaction::unlessOpen(store());
  auto stored = guarded("saving the change",
                        [&] { return insertInto(periods::periodOf(store(), *reading.query, reading.day), reading); });
  if (transaction) {
    transaction->commit();
  }
  return stored;
}

StoredObservation Observations::insertInto(std::int64_t period, const StoredObservation& reading) {
  Prepared statement(store(),
                     "INSERT INTO StoredObservation (day, measuredAt, rank, resultCount, source, query, period) "
                     "VALUES (?, ?, ?, ?, ?, ?, ?)");
  Mapping<StoredObservation>::bind(*statement, reading);
  statement->bind(7, period);
  statement->exec();
  StoredObservation stored = reading;
  stored.rowId = RecordId<StoredObservation>{store().database().getLastInsertRowid()};
  return stored;
}

void Observations::update(const StoredObservation& reading) {
  checkReading(reading);
  // The period and the row change together.
  Transaction transaction(store());
  const int changes = guarded("saving the change", [&] {
    // A new day or keyword may move the reading to another period.
    const auto period = periods::periodOf(store(), *reading.query, reading.day);
    Prepared statement(store(),
                       "UPDATE StoredObservation SET day = ?, measuredAt = ?, rank = ?, resultCount = ?, source = ?, "
                       "query = ?, period = ? WHERE pk = ?");
    Mapping<StoredObservation>::bind(*statement, reading);
    statement->bind(7, period);
    statement->bind(8, reading.rowId.value);
    return statement->exec();
  });
  if (changes == 0) {
    throw missingRecord();
  }
  transaction.commit();
}

RecordedReading Observations::recordDay(const StoredObservation& reading, const asokit::Calendar& calendar) {
  checkReading(reading);
  // The same calendar day, not the same instant: the day's start is looked up as a range, so a reading
  // written under another time-zone rule for that day is still found.
  const auto from = toMillis(calendar.startOfDay(reading.day));
  const auto to = toMillis(calendar.addDays(reading.day, 1));
  // A run writes thousands of readings inside its own transaction; a savepoint around each one would
  // cost more than the reading. Alone, the look and the write still need one of their own.
  auto transaction = Transaction::unlessOpen(store());
  RecordedReading result = guarded("saving the change", [&] {
    std::optional<StoredObservation> existing;
    std::optional<std::int64_t> period;
    std::int64_t existingPeriod = 0;
    std::optional<std::int64_t> existingRank;
    {
      // Rows and days come from the indexes alone, and the same look finds the period a new reading
      // goes into. A day that a time-zone rule shifted may start in one period and end in the next, so
      // both are looked at.
      Prepared find(
          store(),
          "SELECT p.pk, p.span, o.pk, o.day, o.rank FROM ReadingPeriod p LEFT JOIN StoredObservation o "
          "ON o.period = p.pk AND o.day >= ?2 AND o.day < ?3 WHERE p.query = ?1 AND p.span BETWEEN ?4 AND ?5");
      find->bind(1, reading.query->value);
      find->bind(2, static_cast<std::int64_t>(from));
      find->bind(3, static_cast<std::int64_t>(to));
      find->bind(4, periods::spanOf(static_cast<std::int64_t>(from)));
      find->bind(5, periods::spanOf(static_cast<std::int64_t>(to) - 1));
      const auto span = periods::spanOf(static_cast<std::int64_t>(toMillis(reading.day)));
      while (find->executeStep()) {
        if (find->getColumn(1).getInt64() == span) {
          period = find->getColumn(0).getInt64();
        }
        if (find->getColumn(2).isNull()) {
          continue;
        }
        // Should a day hold two readings, the earlier one is the day's.
        const RecordId<StoredObservation> row{find->getColumn(2).getInt64()};
        const auto day = sql::time(*find, 3);
        if (!existing || std::pair(day, row) < std::pair(existing->day, existing->rowId)) {
          existing = reading;
          existing->rowId = row;
          existing->day = day;
          existingPeriod = find->getColumn(0).getInt64();
          existingRank = sql::optionalInteger(*find, 4);
        }
      }
    }
    if (!existing) {
      const auto into = period ? *period : periods::createPeriod(store(), *reading.query, reading.day);
      return RecordedReading{insertInto(into, reading), true, into};
    }
    // Only the reading's own values change. The index holds the rank too, so an update that leaves
    // query, day, period and an unchanged rank out keeps the index entry where it is: a second run of the
    // day then rewrites no index page for a keyword whose rank held.
    Prepared update(store(), existingRank == reading.rank
                                 ? "UPDATE StoredObservation SET measuredAt = ?1, resultCount = ?3, source = ?4 "
                                   "WHERE pk = ?5"
                                 : "UPDATE StoredObservation SET measuredAt = ?1, rank = ?2, resultCount = ?3, "
                                   "source = ?4 WHERE pk = ?5");
    sql::bind(*update, 1, reading.measuredAt);
    sql::bind(*update, 2, reading.rank);
    update->bind(3, reading.resultCount);
    update->bind(4, reading.source);
    update->bind(5, existing->rowId.value);
    update->exec();
    return RecordedReading{*existing, false, existingPeriod};
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
  return select("WHERE period IN (SELECT pk FROM ReadingPeriod WHERE query = ?) ORDER BY pk",
                [&](SQLite::Statement& s) { s.bind(1, query.value); });
}

RunOutcome Outcomes::insert(const RunOutcome& outcome) {
  Mapping<RunOutcome>::validate(outcome);
  auto transaction = Transaction::unlessOpen(store());
  auto stored = guarded("saving the change", [&] { return insertInPeriod(outcome, periodFor(outcome)); });
  if (transaction) {
    transaction->commit();
  }
  return stored;
}

RunOutcome Outcomes::insertInPeriod(const RunOutcome& outcome, std::optional<std::int64_t> period) {
  return guarded("saving the change", [&] {
    Prepared statement(store(),
                       "INSERT INTO RunOutcome (statusRaw, message, run, query, observation, period) "
                       "VALUES (?, ?, ?, ?, ?, ?)");
    Mapping<RunOutcome>::bind(*statement, outcome);
    sql::bind(*statement, 6, period);
    statement->exec();
    RunOutcome stored = outcome;
    stored.rowId = RecordId<RunOutcome>{store().database().getLastInsertRowid()};
    return stored;
  });
}

void Outcomes::update(const RunOutcome& outcome) {
  Mapping<RunOutcome>::validate(outcome);
  // The period and the row change together.
  Transaction transaction(store());
  const int changes = guarded("saving the change", [&] {
    const auto period = periodFor(outcome);
    Prepared statement(store(),
                       "UPDATE RunOutcome SET statusRaw = ?, message = ?, run = ?, query = ?, observation = ?, "
                       "period = ? WHERE pk = ?");
    Mapping<RunOutcome>::bind(*statement, outcome);
    sql::bind(*statement, 6, period);
    statement->bind(7, outcome.rowId.value);
    return statement->exec();
  });
  if (changes == 0) {
    throw missingRecord();
  }
  transaction.commit();
}

std::optional<std::int64_t> Outcomes::periodFor(const RunOutcome& outcome) {
  if (!outcome.query) {
    return std::nullopt;
  }
  // The period of the run's day; an outcome of no run is tied through the keyword's first day.
  std::optional<WallTime> day;
  if (outcome.run) {
    Prepared run(store(), "SELECT coalesce(finishedAt, startedAt) FROM MeasurementRun WHERE pk = ?1");
    run->bind(1, outcome.run->value);
    if (run->executeStep()) {
      day = sql::time(*run, 0);
    }
  }
  if (!day) {
    Prepared added(store(), "SELECT addedAt FROM TrackedQuery WHERE pk = ?1");
    added->bind(1, outcome.query->value);
    if (!added->executeStep()) {
      throw StoreError(StoreError::Kind::constraint, "The outcome's keyword is not in the store.");
    }
    day = sql::time(*added, 0);
  }
  return periods::periodOf(store(), *outcome.query, *day);
}

std::vector<RunOutcome> Outcomes::ofObservation(RecordId<StoredObservation> observation) const {
  return select("WHERE observation = ? ORDER BY pk", [&](SQLite::Statement& s) { s.bind(1, observation.value); });
}

}  // namespace tovra::store
