#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/rank_history.h"
#include "app/measure/today_queue.h"
#include "app/store/local_time.h"
#include "app/store/records.h"

namespace tovra::store {
class Store;
}

namespace tovra::measure {

namespace historyText {
inline constexpr std::string_view kNoReadingYet = "No reading yet: the next run measures it.";
}  // namespace historyText

// One tracked keyword's whole series of readings, day by day, with the change the today queue would show
// and the runs of consecutive days a chart draws unbroken.
struct KeywordHistory {
  struct Reading {
    asokit::WallTime day;  // the start of the reading's calendar day in the user's calendar
    store::StoredObservation observation;
  };

  std::string label;              // "Lumen Photo · photo editor · US"
  std::vector<Reading> readings;  // as the store lists them
  asokit::RankHistory history;
  TodayChange change;
  std::vector<std::vector<asokit::RankPoint>> dayRuns;
};

// Reads the series of `query`, a keyword of `app`. Throws StoreError when the store cannot be read.
KeywordHistory keywordHistory(store::Store& store, const store::TrackedApp& app, const store::TrackedQuery& query,
                              const asokit::Calendar& calendar);

// "Lumen Photo · photo editor · US · 3 readings · dropped 2 places"
std::string historyHeadline(const KeywordHistory& history);
// "Day runs: 2025-01-12 – 2025-01-14 (3 days) · 2025-01-16 (1 day)", the days in the user's zone.
std::string dayRunsLine(const KeywordHistory& history, const store::LocalTimeFormat& localTime);

}  // namespace tovra::measure
