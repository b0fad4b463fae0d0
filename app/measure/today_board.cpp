#include "app/measure/today_board.h"

#include "app/store/review_writer.h"
#include "app/store/today_reads.h"

namespace tovra::measure {

TodayBoard::TodayBoard(store::Store& store, const asokit::Calendar& calendar, asokit::WallClock& wall)
    : store_(store), calendar_(calendar), wall_(wall) {}

void TodayBoard::refresh() {
  queue_ = buildTodayQueue(store::readTodaySnapshot(store_, static_cast<std::int64_t>(kReadingsBeforeChange)),
                           calendar_, queue_.undoableMark);
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
