#include "AsoKit/rate_limiter.h"

#include "AsoKit/aso_error.h"

namespace asokit {

RateLimiter::RateLimiter(MonotonicClock& clock, std::chrono::nanoseconds minInterval)
    : clock_(clock), minInterval_(minInterval) {}

void RateLimiter::wait(std::stop_token stop) {
  // Held for the whole wait: overlapping callers are served one after another, each booking its own slot.
  std::lock_guard lock(mutex_);
  if (earliestNext_ && *earliestNext_ > clock_.now()) {
    if (!clock_.sleepUntil(*earliestNext_, stop)) {
      throw Cancelled{};
    }
  }
  earliestNext_ = clock_.now() + minInterval_;
}

std::optional<MonoTime> RateLimiter::earliestNext() const {
  std::lock_guard lock(mutex_);
  return earliestNext_;
}

}  // namespace asokit
