#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "AsoKit/calendar.h"
#include "app/store/table.h"

// The typed operations of each record kind. Reads return values; a finder's list is in the order
// its comment names. Obtain them from the store: `store.apps().findByAppStoreId("284882215")`.
namespace tovra::store {

class Apps final : public Table<TrackedApp> {
 public:
  using Table::Table;
  std::optional<TrackedApp> findByAppStoreId(std::string_view appStoreId) const;
};

class Localizations final : public Table<AppLocalization> {
 public:
  using Table::Table;
  // By country.
  std::vector<AppLocalization> ofApp(RecordId<TrackedApp> app) const;
};

class Spaces final : public Table<ResearchSpace> {
 public:
  using Table::Table;
  std::optional<ResearchSpace> findById(std::string_view id) const;
};

class Queries final : public Table<TrackedQuery> {
 public:
  using Table::Table;
  // By keyword, then country (code-point order).
  std::vector<TrackedQuery> ofApp(RecordId<TrackedApp> app) const;
  std::vector<TrackedQuery> ofSpace(RecordId<ResearchSpace> space) const;
  // What a run measures: keywords of an app that are not paused, oldest first.
  std::vector<TrackedQuery> measurable() const;
};

// The result of writing a keyword's reading of a day.
struct RecordedReading {
  StoredObservation observation;  // as stored, with its row
  bool inserted = false;          // false when the day's earlier reading was updated in place
  std::int64_t period = 0;        // the row of the reading's period (app/store/reading_periods.h)
};

class Observations final : public Table<StoredObservation> {
 public:
  using Table::Table;
  // By day, oldest first.
  std::vector<StoredObservation> ofQuery(RecordId<TrackedQuery> query) const;
  std::optional<StoredObservation> latestOf(RecordId<TrackedQuery> query) const;
  // The newest reading of every keyword that has one, by keyword row.
  std::vector<StoredObservation> latestPerQuery() const;
  // Keeps one reading per keyword and calendar day: when `reading.query` already has a reading on the
  // calendar day of `reading.day`, that one takes `measuredAt`, `rank`, `resultCount` and `source`
  // from `reading`; otherwise `reading` is inserted. `reading.query` must be set.
  RecordedReading recordDay(const StoredObservation& reading, const asokit::Calendar& calendar);
  // Like the table's own, but each reading also lands in the period of its day, which the first
  // reading of a keyword's period creates. `reading.query` must be set.
  StoredObservation insert(const StoredObservation& reading);
  void update(const StoredObservation& reading);

 private:
  StoredObservation insertInto(std::int64_t period, const StoredObservation& reading);
};

class ReviewMarks final : public Table<ReviewMark> {
 public:
  using Table::Table;
  // By day, oldest first.
  std::vector<ReviewMark> ofQuery(RecordId<TrackedQuery> query) const;
};

class Runs final : public Table<MeasurementRun> {
 public:
  using Table::Table;
  // The run started last.
  std::optional<MeasurementRun> latest() const;
};

class Outcomes final : public Table<RunOutcome> {
 public:
  using Table::Table;
  // In the order the run wrote them.
  std::vector<RunOutcome> ofRun(RecordId<MeasurementRun> run) const;
  std::vector<RunOutcome> ofQuery(RecordId<TrackedQuery> query) const;
  std::vector<RunOutcome> ofObservation(RecordId<StoredObservation> observation) const;
  // Like the table's own, but an outcome with a keyword is also tied to the keyword's period of the
  // run's day, which deleting the keyword follows to clear the outcome's keyword.
  RunOutcome insert(const RunOutcome& outcome);
  void update(const RunOutcome& outcome);
  // Inserts with the period already known (a run writing thousands of outcomes knows it).
  RunOutcome insertInPeriod(const RunOutcome& outcome, std::optional<std::int64_t> period);

 private:
  std::optional<std::int64_t> periodFor(const RunOutcome& outcome);
};

struct SavedLadder {
  StoredLadder ladder;
  std::vector<LadderEntry> entries;
};

class Ladders final : public Table<StoredLadder> {
 public:
  using Table::Table;
  // Exact keyword and country as stored, newest first.
  std::vector<StoredLadder> forKeyword(std::string_view keyword, std::string_view country) const;
  // Every saved search of a country, newest first (for matching by a folded keyword key).
  std::vector<StoredLadder> inCountry(std::string_view country) const;
  // Inserts a saved search and its entries in one transaction; the entries' `ladder` is set.
  SavedLadder insertWithEntries(const StoredLadder& ladder, const std::vector<LadderEntry>& entries);
};

class LadderEntries final : public Table<LadderEntry> {
 public:
  using Table::Table;
  // By position.
  std::vector<LadderEntry> ofLadder(RecordId<StoredLadder> ladder) const;
};

struct SavedProbe {
  HintProbe probe;
  std::vector<StoreHint> hints;
};

class Probes final : public Table<HintProbe> {
 public:
  using Table::Table;
  // Exact prefix and country as stored, newest first.
  std::vector<HintProbe> forPrefix(std::string_view prefix, std::string_view country) const;
  // Every probe of a country, newest first.
  std::vector<HintProbe> inCountry(std::string_view country) const;
  // Inserts a probe and its hints in one transaction; the hints' `probe` is set.
  SavedProbe insertWithHints(const HintProbe& probe, const std::vector<StoreHint>& hints);
};

class Hints final : public Table<StoreHint> {
 public:
  using Table::Table;
  // By position.
  std::vector<StoreHint> ofProbe(RecordId<HintProbe> probe) const;
};

}  // namespace tovra::store
