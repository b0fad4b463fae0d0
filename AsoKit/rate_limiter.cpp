#include "AsoKit/rate_limiter.h"

#include "AsoKit/aso_error.h"

namespace asokit {

RateLimiter::RateLimiter(MonotonicClock& clock, std::chrono::nanoseconds minInterval, SharedPacing* shared)
    : clock_(clock), minInterval_(minInterval), shared_(shared) {}

void RateLimiter::wait(std::stop_token stop) {
  // Held for the whole wait: overlapping callers are served one after another, each booking its own slot.
  std::lock_guard lock(mutex_);
  if (earliestNext_ && *earliestNext_ > clock_.now()) {
    if (!clock_.sleepUntil(*earliestNext_, stop)) {
      throw Cancelled{};
    }
  }
  auto now = clock_.now();
  // Another process may have asked since: its slot is waited out the same way, then claimed again,
  // since a third process may have taken the slot in between.
  while (shared_) {
    const auto retryAt = shared_->claimSlot(now, minInterval_);
    if (!retryAt) {
      break;
    }
    if (!clock_.sleepUntil(*retryAt, stop)) {
      throw Cancelled{};
    }
    now = clock_.now();
  }
  earliestNext_ = now + minInterval_;
}

void RateLimiter::markSent(MonoTime sentBy) {
  std::lock_guard lock(mutex_);
  const auto next = sentBy + minInterval_;
  if (!earliestNext_ || *earliestNext_ < next) {
    earliestNext_ = next;
  }
  if (shared_) {
    shared_->markSent(sentBy);
  }
}

std::optional<MonoTime> RateLimiter::earliestNext() const {
  std::lock_guard lock(mutex_);
  return earliestNext_;
}

}  // namespace asokit
