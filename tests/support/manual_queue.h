#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

#include "app/base/main_queue.h"

namespace tovra::testing {

// The main-thread queue of a test: tasks posted from any thread wait until the test runs them.
class ManualQueue final : public base::MainQueue {
 public:
  void post(std::function<void()> task) override;
  // Runs the tasks queued now; returns how many ran.
  int drain();
  // Runs tasks as they come until `done` holds; fails the test after a real-time safety limit.
  void runUntil(const std::function<bool()>& done);
  std::size_t pending() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::function<void()>> tasks_;
};

}  // namespace tovra::testing
