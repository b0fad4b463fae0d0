#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>

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

  // Reads the best rank ever kept of up to `count` more rows, for rows whose best is not read yet. Every
  // reading of a keyword counts, so a store of years takes a while: the queue comes first, and this
  // follows in small steps. Once read, a keyword's best needs only its newest readings on each refresh:
  // readings are added, never rewritten into the past. Returns true once every row has its best rank; the
  // caller shows what changed, as no other row does. Throws StoreError.
  bool readBestRanks(std::size_t count);

 private:
  store::Store& store_;
  const asokit::Calendar& calendar_;
  asokit::WallClock& wall_;
  TodayQueue queue_;
  base::Observable<> changes_;
  // The best rank of all of a keyword's readings when it was read, by keyword row.
  std::unordered_map<std::int64_t, std::optional<std::int64_t>> bestKept_;
};

}  // namespace tovra::measure
