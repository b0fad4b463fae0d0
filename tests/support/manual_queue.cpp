#include "support/manual_queue.h"

#include <gtest/gtest.h>

#include <chrono>

namespace tovra::testing {

void ManualQueue::post(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  ready_.notify_all();
}

int ManualQueue::drain() {
  std::deque<std::function<void()>> batch;
  {
    std::lock_guard lock(mutex_);
    batch.swap(tasks_);
  }
  for (auto& task : batch) {
    task();
  }
  return static_cast<int>(batch.size());
}

void ManualQueue::runUntil(const std::function<bool()>& done) {
  // A safety limit in real time, so a broken runner fails the test instead of hanging it; no test
  // waits for time to pass.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!done()) {
    std::function<void()> task;
    {
      std::unique_lock lock(mutex_);
      if (!ready_.wait_until(lock, limit, [this] { return !tasks_.empty(); })) {
        ADD_FAILURE() << "the main-thread queue waited too long for work";
        return;
      }
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
  }
}

std::size_t ManualQueue::pending() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

}  // namespace tovra::testing
