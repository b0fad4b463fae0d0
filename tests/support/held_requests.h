#pragma once

#include <condition_variable>
#include <mutex>
#include <stop_token>

namespace tovra::testing {

// Stands in for the App Store's latency: each request made through it waits until the test lets it
// go, or until its stop token is raised (a superseded or destroyed model cancels its request). Requests
// are let go in the order they arrived.
class HeldRequests final {
 public:
  // On the requesting thread: counts the arrival and waits. True when let go, false when stopped.
  bool hold(std::stop_token stop);
  // Waits until `count` requests have arrived in all; fails the test after a real-time safety limit.
  void waitForArrivals(int count);
  // Lets the next `count` held requests go.
  void release(int count = 1);
  int arrivals() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable_any changed_;
  int arrivals_ = 0;
  int released_ = 0;
};

}  // namespace tovra::testing
