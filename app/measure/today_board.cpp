#include "app/measure/today_board.h"

#include <algorithm>

#include "app/store/best_ranks.h"
#include "app/store/review_writer.h"
#include "app/store/store.h"
#include "app/store/today_reads.h"

namespace tovra::measure {

TodayBoard::TodayBoard(store::Store& store, const asokit::Calendar& calendar, asokit::WallClock& wall)
    : store_(store), calendar_(calendar), wall_(wall) {}

void TodayBoard::refresh() {
  // The month shown ends with the newest reading's day, so a morning before today's run still shows the
  // 30 days that were measured. That day is known only once the readings are read, so they are read from
  // a day before the month of the last run's day.
  const auto lastRun = store_.runs().latest();
  const auto lastRunDay =
      calendar_.startOfDay(lastRun ? lastRun->finishedAt.value_or(lastRun->startedAt) : wall_.now());
  queue_ = buildTodayQueue(store::readTodaySnapshot(store_, static_cast<std::int64_t>(kReadingsBeforeChange),
                                                    calendar_.addDays(lastRunDay, -kHistoryDays)),
                           calendar_, queue_.undoableMark);
  std::optional<asokit::WallTime> newest;
  for (const auto* list : {&queue_.pending, &queue_.reviewed, &queue_.held}) {
    for (const auto& row : *list) {
      newest = newest ? std::max(*newest, row.day) : row.day;
    }
  }
  auto days = spanDays(calendar_, newest.value_or(lastRunDay), kHistoryDays);
  addRowFacts(queue_, days, bestKept_);
  queue_.days = std::move(days);
  changes_.notify();
}

bool TodayBoard::readBestRanks(std::size_t count) {
  std::vector<std::int64_t> wanted;
  for (const auto* list : {&queue_.pending, &queue_.reviewed, &queue_.held}) {
    for (const auto& row : *list) {
      if (!row.bestRankRead && wanted.size() < count) {
        wanted.push_back(row.id);
      }
    }
  }
  if (wanted.empty()) {
    return true;
  }
  for (auto& [keyword, best] : store::readBestRanks(store_, wanted)) {
    bestKept_[keyword] = best;
  }
  bool done = true;
  for (auto* list : {&queue_.pending, &queue_.reviewed, &queue_.held}) {
    for (auto& row : *list) {
      addBestRank(row, bestKept_);
      done = done && row.bestRankRead;
    }
  }
  return done;
}

const TodayRow* TodayBoard::row(std::int64_t id) const {
  for (const auto* list : {&queue_.pending, &queue_.reviewed, &queue_.held}) {
    for (const auto& row : *list) {
      if (row.id == id) {
        return &row;
      }
    }
  }
  return nullptr;
}

bool TodayBoard::review(std::int64_t rowId) {
  const auto* found = row(rowId);
  if (!found) {
    return false;
  }
  const auto mark = store::markDayReviewed(store_, found->query.rowId, found->day, wall_.now(), calendar_);
  queue_.undoableMark = mark;
  refresh();
  return true;
}

bool TodayBoard::unreview(std::int64_t rowId) {
  const auto* found = row(rowId);
  if (!found) {
    return false;
  }
  const auto removed = store::takeBackDayReview(store_, found->query.rowId, found->day, calendar_);
  refresh();
  return removed > 0;
}

bool TodayBoard::undo() {
  if (!queue_.undoableMark || !queue_.undoableMark->query) {
    return false;
  }
  const auto mark = *queue_.undoableMark;
  store::takeBackDayReview(store_, *mark.query, mark.day, calendar_);
  queue_.undoableMark.reset();
  refresh();
  return true;
}

}  // namespace tovra::measure
