#include "AsoKit/rank_history.h"

#include <algorithm>
#include <cassert>
#include <numeric>

namespace asokit {

RankHistory::RankHistory(std::vector<RankPoint> points) : points_(std::move(points)) {
  // Series mostly come in day order already; sorting them anyway would cost a buffer each.
  const auto earlier = [](const RankPoint& a, const RankPoint& b) { return a.day < b.day; };
  if (!std::is_sorted(points_.begin(), points_.end(), earlier)) {
    std::stable_sort(points_.begin(), points_.end(), earlier);
  }
}

std::optional<std::int64_t> RankHistory::change() const {
  if (points_.size() < 2) {
    return std::nullopt;
  }
  const auto& previous = points_[points_.size() - 2];
  const auto& latest = points_.back();
  if (!previous.rank || !latest.rank) {
    return std::nullopt;
  }
  return *previous.rank - *latest.rank;
}

std::vector<std::vector<RankPoint>> RankHistory::dayRuns(const Calendar& calendar) const {
  std::vector<std::vector<RankPoint>> runs;
  std::vector<RankPoint> current;
  for (const auto& point : points_) {
    // The next calendar day, never 86,400 s later: days of 23 or 25 hours exist.
    if (!current.empty() && !calendar.isSameDay(calendar.addDays(current.back().day, 1), point.day)) {
      runs.push_back(std::move(current));
      current.clear();
    }
    current.push_back(point);
  }
  if (!current.empty()) {
    runs.push_back(std::move(current));
  }
  return runs;
}

namespace ladder_retention {

std::vector<std::size_t> indicesToDelete(const std::vector<WallTime>& dates, std::int64_t keep) {
  assert(keep >= 0 && "keep must not be negative");
  if (keep < 0 || dates.size() <= static_cast<std::size_t>(keep)) {
    return {};
  }
  std::vector<std::size_t> order(dates.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return dates[a] > dates[b]; });
  return {order.begin() + keep, order.end()};
}

}  // namespace ladder_retention
}  // namespace asokit
