#pragma once

#include <cstdint>
#include <string_view>

#include "app/store/records.h"

// Readings are kept per keyword in periods of eight days, and a run's outcomes are tied to their keyword
// through the period of the run's day too. A day's run then writes its thousands of readings into the few
// index pages of the current periods, where an index on (keyword, day) would take one page of every
// keyword's stretch: on a store of a year of readings that was four times the work of the first day's
// run. A keyword's readings still read in day order: periods come in day order and each period's
// readings by day.
namespace tovra::store {
class Store;
}

namespace tovra::store::periods {

inline constexpr std::int64_t kLengthMillis = 8LL * 86'400'000;

// The period of a day given as milliseconds since the epoch (earlier days count down from -1).
constexpr std::int64_t spanOf(std::int64_t dayMillis) {
  return dayMillis >= 0 ? dayMillis / kLengthMillis : -((-dayMillis + kLengthMillis - 1) / kLengthMillis);
}

// A keyword's readings `o` reached through its periods `p`; the keyword's row is the parameter ?1.
inline constexpr std::string_view kReadingsOfQuery =
    "ReadingPeriod p JOIN StoredObservation o ON o.period = p.pk WHERE p.query = ?1";
inline constexpr std::string_view kOldestFirst = " ORDER BY p.span, o.day, o.pk";
inline constexpr std::string_view kNewestFirst = " ORDER BY p.span DESC, o.day DESC, o.pk DESC";

// The row of the keyword's period of `day`, made when the keyword has none yet; `createPeriod` makes one
// outright. Part of the caller's transaction; throws what the store throws.
std::int64_t periodOf(Store& store, RecordId<TrackedQuery> query, WallTime day);
std::int64_t createPeriod(Store& store, RecordId<TrackedQuery> query, WallTime day);

}  // namespace tovra::store::periods
