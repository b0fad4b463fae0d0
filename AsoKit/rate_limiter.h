#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <stop_token>

#include "AsoKit/clock.h"
#include "AsoKit/shared_pacing.h"

namespace asokit {

// Spaces the client's requests at least `minInterval` apart as the store sees them. The slot is booked
// when a request is let through and moved to when the request went out (markSent), not to when it
// ended, so a slow answer does not widen the gap while a slow connection or a late thread cannot narrow
// it. With a shared pacing, the slot is also claimed machine-wide, so other Tovra processes' requests
// keep the same gap.
class RateLimiter final {
 public:
  explicit RateLimiter(MonotonicClock& clock, std::chrono::nanoseconds minInterval = std::chrono::milliseconds{1200},
                       SharedPacing* shared = nullptr);

  // Returns when a request may start and books the next slot; every request let through is followed by
  // markSent. Throws Cancelled when `stop` is requested during the wait; the booking is then left as it
  // was.
  void wait(std::stop_token stop = {});

  // The request let through last had gone out by `sentBy` (a moment read after it was written): the next
  // slot counts from then, so the store never sees two requests closer than the interval. Lets the other
  // processes sharing the pacing go on.
  void markSent(MonoTime sentBy);

  std::optional<MonoTime> earliestNext() const;
  std::chrono::nanoseconds minInterval() const { return minInterval_; }

 private:
  MonotonicClock& clock_;
  const std::chrono::nanoseconds minInterval_;
  SharedPacing* shared_;
  mutable std::mutex mutex_;
  std::optional<MonoTime> earliestNext_;
};

// Counts failures in a row so that a batch stops instead of pressing on against a refusal.
class FailureGuard final {
 public:
  explicit FailureGuard(int maxConsecutive = 3) : maxConsecutive_(maxConsecutive) {}
  void recordSuccess() { consecutive_ = 0; }
  // True when the failures in a row have reached the limit: stop now.
  bool recordFailure() { return ++consecutive_ >= maxConsecutive_; }
  int consecutive() const { return consecutive_; }
  int maxConsecutive() const { return maxConsecutive_; }

 private:
  int maxConsecutive_;
  int consecutive_ = 0;
};

}  // namespace asokit
