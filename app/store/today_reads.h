#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "app/store/records.h"

namespace tovra::store {

class Store;

// What the today queue is built from, read under one snapshot: every keyword of an app with its newest
// readings, its readings of the recent days and its newest review mark, the apps and their names, and the
// last run with its outcomes.
struct TodaySnapshot {
  // A review mark as the queue needs it: which mark, and the day it marks.
  struct MarkedDay {
    RecordId<ReviewMark> mark;
    WallTime day;
  };
  // What a change needs of the reading before the newest, and a history of the others.
  struct DayRank {
    WallTime day;
    std::optional<std::int64_t> rank;
  };
  struct Keyword {
    TrackedQuery query;
    std::optional<StoredObservation> newest;  // the newest reading, whole
    std::optional<DayRank> previous;          // the one before it
    std::vector<DayRank> recent;              // the readings of days from `recentSince` on, oldest first
    std::int64_t readingCount = 0;            // all the keyword's readings, counted up to the asked number
    std::optional<MarkedDay> latestMark;      // the keyword's newest review mark, of whatever day
  };

  std::vector<TrackedApp> apps;
  std::vector<AppLocalization> localizations;
  std::vector<Keyword> keywords;  // keywords of an app, by row; research-space keywords never
  std::optional<MeasurementRun> lastRun;
  std::vector<RunOutcome> lastRunMisses;  // the last run's outcomes other than measured, in run order
};

// Reads the snapshot. The queue needs a keyword's last two readings, whether it has `countUpTo` of them,
// and its readings of the days from `recentSince` on, never its whole series: readings are counted up to
// that number only, and older ones are not read. Throws StoreError.
TodaySnapshot readTodaySnapshot(Store& store, std::int64_t countUpTo, WallTime recentSince);

}  // namespace tovra::store
