#include "support/held_requests.h"

#include <gtest/gtest.h>

#include <chrono>

namespace tovra::testing {

bool HeldRequests::hold(std::stop_token stop) {
  std::unique_lock lock(mutex_);
  const int number = ++arrivals_;
  changed_.notify_all();
  return changed_.wait(lock, stop, [&] { return released_ >= number; });
}

void HeldRequests::waitForArrivals(int count) {
  std::unique_lock lock(mutex_);
  // A safety limit in real time, so a request that never comes fails the test instead of hanging it.
  if (!changed_.wait_for(lock, std::chrono::seconds(20), [&] { return arrivals_ >= count; })) {
    ADD_FAILURE() << "waited too long for request " << count;
  }
}

void HeldRequests::release(int count) {
  {
    std::lock_guard lock(mutex_);
    released_ += count;
  }
  changed_.notify_all();
}

int HeldRequests::arrivals() const {
  std::lock_guard lock(mutex_);
  return arrivals_;
}

}  // namespace tovra::testing
