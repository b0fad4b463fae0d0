#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/clock.h"

namespace asokit {

struct RankPoint {
  WallTime day;
  std::optional<std::int64_t> rank;  // absent: measured, not among the results
  bool operator==(const RankPoint&) const = default;
};

// The day-by-day rank series of one tracked keyword, oldest first.
class RankHistory final {
 public:
  RankHistory() = default;
  // Sorted by day; points with equal days keep their given order.
  explicit RankHistory(std::vector<RankPoint> points);

  const std::vector<RankPoint>& points() const { return points_; }
  std::size_t readingCount() const { return points_.size(); }
  // The previous rank minus the latest (positive: moved up); none with fewer than two points or a
  // missing rank in either.
  std::optional<std::int64_t> change() const;
  // Runs of consecutive calendar days, so a chart breaks its line where a day is missing. A repeat on
  // the same day starts a new run.
  std::vector<std::vector<RankPoint>> dayRuns(const Calendar& calendar) const;

  bool operator==(const RankHistory&) const = default;

 private:
  std::vector<RankPoint> points_;
};

namespace ladder_retention {

// Positions of the items to delete so that the `keep` newest remain, newest deleted first. Equal dates
// keep their list order. `keep` must not be negative.
std::vector<std::size_t> indicesToDelete(const std::vector<WallTime>& dates, std::int64_t keep);

}  // namespace ladder_retention
}  // namespace asokit
