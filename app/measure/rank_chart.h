#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/rank_history.h"
#include "app/store/app_releases.h"
#include "app/store/records.h"

namespace tovra::store {
class Store;
}

namespace tovra::measure {

namespace chartText {
inline constexpr std::string_view kRankAxis = "Rank (1 at the top)";
inline constexpr std::string_view kDayAxis = "Day";
inline constexpr std::string_view kOutsideRow = "Outside the results";
inline constexpr std::string_view kNoReadings = "No readings of this keyword yet: the next run measures it.";
inline constexpr std::string_view kPickKeyword = "Pick a keyword to see its rank day by day.";
inline constexpr std::string_view kGapNote = "A missing day is a gap: nothing is drawn where Tovra did not measure.";
}  // namespace chartText

// One day of a drawn line: a reading with a rank.
struct ChartPoint {
  asokit::WallTime day;
  std::int64_t rank = 0;
  bool operator==(const ChartPoint&) const = default;
};

// What a rank chart draws of one keyword's readings. A line joins only readings of consecutive calendar
// days that both have a rank: a missing day ends it (a gap), and so does a day outside the results, which
// has no rank to draw and sits in its own row below the axis instead of at a made-up number.
struct RankChart {
  std::vector<std::vector<ChartPoint>> lines;
  std::vector<asokit::WallTime> outsideDays;
  // The app's releases from the chart's first day to its last, oldest first.
  std::vector<store::AppRelease> releases;
  std::optional<asokit::WallTime> firstDay;
  std::optional<asokit::WallTime> lastDay;
  // The deepest rank drawn; 0 when no day has a rank.
  std::int64_t deepestRank = 0;
};

// Builds the chart from a keyword's day runs (RankHistory::dayRuns) and the app's releases.
RankChart rankChart(const std::vector<std::vector<asokit::RankPoint>>& dayRuns,
                    const std::vector<store::AppRelease>& releases, const asokit::Calendar& calendar);

// The bottom of the rank axis: the deepest rank rounded up to 10, 20, 50, 100, 200, … (at least 10), so
// rank 1 sits at the top and the deepest reading is inside the axis.
std::int64_t rankAxisBottom(std::int64_t deepestRank);

// "2.3 released 2025-01-14"
std::string releaseLabel(const store::AppRelease& release, std::string_view date);

// Every tracked app's series on one keyword in one country, for a side-by-side chart: yours first, then
// the others, each by name.
struct ComparedApp {
  store::TrackedApp app;
  store::TrackedQuery query;
  std::string label;  // the app's name in the keyword's country
  RankChart chart;
  std::optional<std::int64_t> latestRank;
  bool measured = false;  // has at least one reading
};

// The keyword is compared by its keyword key, the country trimmed and lower-cased. Throws StoreError.
std::vector<ComparedApp> compareOnKeyword(store::Store& store, std::string_view keyword, std::string_view country,
                                          const asokit::Calendar& calendar);

}  // namespace tovra::measure
