#include "app/store/store_watcher.h"

#include "app/store/store.h"
#include "app/store/store_error.h"

namespace tovra::store {

StoreWatcher::StoreWatcher(Store& store, const asokit::MonotonicClock& clock, std::chrono::milliseconds interval)
    : store_(store), clock_(clock), interval_(interval) {
  // What the views read when they were made is the starting point; only later commits are news.
  seen_ = read();
  lastLook_ = clock_.now();
}

bool StoreWatcher::poll() {
  thread_.check();
  if (lastLook_ && clock_.now() - *lastLook_ < interval_) {
    return false;
  }
  return check();
}

bool StoreWatcher::check() {
  thread_.check();
  // Inside a transaction of this process the data version is the transaction's own; its commit is
  // seen at the next look.
  if (store_.inTransaction()) {
    return false;
  }
  lastLook_ = clock_.now();
  const auto now = read();
  if (!now) {
    return false;
  }
  // After a look that failed, the views may have failed to read too: the first good look is news.
  const bool changed = !seen_ || *now != *seen_;
  seen_ = now;
  if (changed) {
    changes_.notify();
  }
  return changed;
}

std::optional<StoreWatcher::Mark> StoreWatcher::read() {
  try {
    return Mark{store_.dataVersion(), store_.commitCount()};
  } catch (const StoreError&) {
    return std::nullopt;
  }
}

}  // namespace tovra::store
