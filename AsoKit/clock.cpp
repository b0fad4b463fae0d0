#include "AsoKit/clock.h"

namespace asokit {

bool SystemMonotonicClock::sleepUntil(MonoTime deadline, std::stop_token stop) {
  std::unique_lock lock(mutex_);
  // The predicate is only the stop request: the wait ends by itself at the deadline.
  wake_.wait_until(lock, stop, deadline, [] { return false; });
  return !stop.stop_requested();
}

VirtualClock::VirtualClock(WallTime wallStart) : wallStart_(wallStart) {}

MonoTime VirtualClock::monoNow() const {
  std::lock_guard lock(mutex_);
  return MonoTime{} + std::chrono::hours{1} + elapsed_;
}

WallTime VirtualClock::wallNow() const {
  std::lock_guard lock(mutex_);
  return wallStart_ + std::chrono::duration_cast<WallTime::duration>(elapsed_);
}

void VirtualClock::advance(std::chrono::nanoseconds by) {
  std::lock_guard lock(mutex_);
  elapsed_ += by;
}

std::chrono::nanoseconds VirtualClock::slept() const {
  std::lock_guard lock(mutex_);
  return slept_;
}

bool VirtualClock::Mono::sleepUntil(MonoTime deadline, std::stop_token stop) {
  if (stop.stop_requested()) {
    return false;
  }
  std::lock_guard lock(owner_.mutex_);
  const auto current = MonoTime{} + std::chrono::hours{1} + owner_.elapsed_;
  if (deadline > current) {
    owner_.slept_ += deadline - current;
    owner_.elapsed_ += deadline - current;
  }
  return true;
}

}  // namespace asokit
