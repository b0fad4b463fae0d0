#include "app/measure/today_board.h"

#include "app/store/best_ranks.h"
#include "app/store/review_writer.h"
#include "app/store/store.h"
#include "app/store/today_reads.h"

namespace tovra::measure {

TodayBoard::TodayBoard(store::Store& store, const asokit::Calendar& calendar, asokit::WallClock& wall)
    : store_(store), calendar_(calendar), wall_(wall) {}

void TodayBoard::refresh() {
  // The month shown ends with the last run's day, so a morning before today's run still shows the
  // change over the 30 days that were measured.
  const auto lastRun = store_.runs().latest();
  const auto lastDay = calendar_.startOfDay(lastRun ? lastRun->finishedAt.value_or(lastRun->startedAt) : wall_.now());
  auto days = spanDays(calendar_, lastDay, kHistoryDays);
  queue_ =
      buildTodayQueue(store::readTodaySnapshot(store_, static_cast<std::int64_t>(kReadingsBeforeChange), days.front()),
                      calendar_, queue_.undoableMark);
  addRowFacts(queue_, days, store::readBestRanks(store_));
  queue_.days = std::move(days);
  changes_.notify();
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
