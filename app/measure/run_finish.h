#pragma once

#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/clock.h"
#include "AsoKit/types.h"
#include "app/measure/run_plan.h"
#include "app/measure/run_report.h"

namespace tovra::store {
class Store;
}

namespace tovra::measure {

// A run's finishing step, on the main thread: the day of its readings (the start of the calendar day of
// `finishedAt`), one transaction with the run, one outcome per entry and the readings of that day, then
// the report. Never throws: a save that fails leaves the store as it was and becomes the report's last
// failure line.
RunReport finishRun(store::Store& store, const asokit::Calendar& calendar, const std::vector<RunEntry>& entries,
                    const asokit::BatchOutcome& outcome, asokit::WallTime startedAt, asokit::WallTime finishedAt);

}  // namespace tovra::measure
