#include "app/measure/run_finish.h"

#include <unordered_map>

#include "app/measure/measure_texts.h"
#include "app/store/run_writer.h"
#include "app/store/store.h"

namespace tovra::measure {
namespace {

store::RunItem itemFor(const RunEntry& entry, const asokit::RankStatus& status, bool userStopped) {
  store::RunItem item;
  item.query = entry.query.rowId;
  if (const auto* observation = status.observation()) {
    item.status = store::RunOutcomeStatus::measured;
    item.rank = observation->rank;
    item.resultCount = observation->resultCount;
    item.source = observation->source;
  } else if (const auto* failure = status.failure()) {
    item.status = store::RunOutcomeStatus::failed;
    item.message = *failure;
  } else {
    item.status = store::RunOutcomeStatus::skipped;
    item.message = std::string(userStopped ? texts::kUserSkipped : texts::kGuardSkipped);
  }
  return item;
}

}  // namespace

RunReport finishRun(store::Store& store, const asokit::Calendar& calendar, const std::vector<RunEntry>& entries,
                    const asokit::BatchOutcome& outcome, asokit::WallTime startedAt, asokit::WallTime finishedAt) {
  // All readings of one run share its day and time, whatever the hour each request was made.
  const auto day = calendar.startOfDay(finishedAt);
  std::optional<bool> hadEarlierReadings;
  try {
    hadEarlierReadings = store::hasAnyReading(store);
  } catch (const std::exception&) {
    // Unknown: the report then claims no first measurement.
  }

  std::vector<std::string> labels;
  std::vector<store::RunItem> items;
  std::unordered_map<std::int64_t, std::vector<store::AppLocalization>> localizations;
  labels.reserve(entries.size());
  items.reserve(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto& entry = entries[i];
    auto found = localizations.find(entry.app.rowId.value);
    if (found == localizations.end()) {
      std::vector<store::AppLocalization> names;
      try {
        names = store.localizations().ofApp(entry.app.rowId);
      } catch (const std::exception&) {
        // Labelled by the display name: the save below reports the store's trouble.
      }
      found = localizations.emplace(entry.app.rowId.value, std::move(names)).first;
    }
    labels.push_back(appLabel(entry.query, entry.app, found->second));
    const auto& status =
        i < outcome.results.size() ? outcome.results[i].status : asokit::RankStatus{asokit::RankStatus::Skipped{}};
    items.push_back(itemFor(entry, status, outcome.stopped && !outcome.halted));
  }

  store::MeasurementRun run;
  run.startedAt = startedAt;
  run.finishedAt = finishedAt;
  run.halted = outcome.halted;
  run.stopped = outcome.stopped;
  run.requestCount = outcome.requestCount;
  run.queryCount = static_cast<std::int64_t>(entries.size());
  std::optional<std::string> saveFailure;
  try {
    store::writeRun(store, run, day, items, calendar);
  } catch (const std::exception& error) {
    saveFailure = error.what();
  }

  ReportInput input;
  input.entries = &entries;
  input.appLabels = &labels;
  input.outcome = &outcome;
  input.startedAt = startedAt;
  input.finishedAt = finishedAt;
  input.hadEarlierReadings = hadEarlierReadings;
  input.saveFailure = saveFailure;
  return buildReport(input);
}

}  // namespace tovra::measure
