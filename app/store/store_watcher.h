#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "AsoKit/clock.h"
#include "app/base/observable.h"
#include "app/base/thread_affinity.h"

namespace tovra::store {

class Store;

// Tells the views that the store changed, whoever changed it: this process (any commit of its own
// connection) or another Tovra process writing to the same file, such as `tovra measure` run in a
// terminal while a window is open. The front end drives it from its own timer (the core runs no event
// loop) and may poll as often as it likes: the store is looked at no more than once per interval.
// Main thread only.
class StoreWatcher final {
 public:
  static constexpr std::chrono::milliseconds kInterval{1000};

  StoreWatcher(Store& store, const asokit::MonotonicClock& clock, std::chrono::milliseconds interval = kInterval);

  // Looks at the store when the interval has passed since the last look, and publishes once when
  // anything was committed since then. Returns whether it published. A store that cannot be read at
  // this moment (busy, gone) publishes nothing and is looked at again at the next poll; the views
  // would meet the same error on re-reading.
  bool poll();
  // Looks now, whatever the interval (a window coming back into view).
  bool check();

  const base::Observable<>& changes() const { return changes_; }

 private:
  struct Mark {
    std::int64_t dataVersion = 0;
    std::int64_t commits = 0;
    bool operator==(const Mark&) const = default;
  };

  std::optional<Mark> read();

  base::ThreadAffinity thread_;
  Store& store_;
  const asokit::MonotonicClock& clock_;
  std::chrono::milliseconds interval_;
  std::optional<asokit::MonoTime> lastLook_;
  std::optional<Mark> seen_;
  base::Observable<> changes_;
};

}  // namespace tovra::store
