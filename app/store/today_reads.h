#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "app/store/records.h"

namespace tovra::store {

class Store;

// What the today queue is built from, read under one snapshot: every keyword of an app with its newest
// readings and its newest review mark, the apps and their names, and the last run with its outcomes.
struct TodaySnapshot {
  struct Keyword {
    TrackedQuery query;
    std::vector<StoredObservation> latest;  // the newest readings, oldest first; at most the asked number
    std::optional<ReviewMark> latestMark;   // the keyword's newest review mark, of whatever day
  };

  std::vector<TrackedApp> apps;
  std::vector<AppLocalization> localizations;
  std::vector<Keyword> keywords;  // keywords of an app, in row order; research-space keywords never
  std::optional<MeasurementRun> lastRun;
  std::vector<RunOutcome> lastRunOutcomes;
};

// Reads the snapshot with at most `readingsPerKeyword` readings per keyword: the queue needs the last
// two readings and whether there are seven, never a keyword's whole series. Throws StoreError.
TodaySnapshot readTodaySnapshot(Store& store, std::size_t readingsPerKeyword);

}  // namespace tovra::store
