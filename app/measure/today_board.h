#pragma once

#include <cstdint>
#include <optional>

#include "AsoKit/calendar.h"
#include "AsoKit/clock.h"
#include "app/base/observable.h"
#include "app/measure/today_queue.h"

namespace tovra::store {
class Store;
}

namespace tovra::measure {

// The today screen's state on the main thread: the queue as last read from the store, and the review
// mark the user can still take back. Marking moves a row to `reviewed`; taking the mark back returns it.
class TodayBoard final {
 public:
  TodayBoard(store::Store& store, const asokit::Calendar& calendar, asokit::WallClock& wall);

  const TodayQueue& queue() const { return queue_; }
  // Re-reads the queue (after a run, or when another process wrote to the store). Throws StoreError.
  void refresh();
  // After every re-read of the queue, which each mark and each taken-back mark ends with.
  const base::Observable<>& changes() const { return changes_; }

  // The row of a keyword, wherever it is listed; none when the keyword has no reading.
  const TodayRow* row(std::int64_t id) const;

  // Marks the row's day as reviewed; the mark becomes the undoable one. A row already reviewed keeps
  // its mark. Returns false when there is no such row. Throws StoreError.
  bool review(std::int64_t rowId);
  // Takes back the mark of the row's day. Returns false when the row had none. Throws StoreError.
  bool unreview(std::int64_t rowId);
  // Takes back the undoable mark. Returns false when there is none. Throws StoreError.
  bool undo();

 private:
  store::Store& store_;
  const asokit::Calendar& calendar_;
  asokit::WallClock& wall_;
  TodayQueue queue_;
  base::Observable<> changes_;
};

}  // namespace tovra::measure
