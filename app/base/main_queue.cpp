#include "app/base/main_queue.h"

namespace tovra::base {

void LoopQueue::post(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  ready_.notify_one();
}

void LoopQueue::runUntil(const std::function<bool()>& done) {
  while (!done()) {
    std::function<void()> task;
    {
      std::unique_lock lock(mutex_);
      ready_.wait(lock, [this] { return !tasks_.empty(); });
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
  }
}

void LoopQueue::runPending() {
  std::deque<std::function<void()>> batch;
  {
    std::lock_guard lock(mutex_);
    batch.swap(tasks_);
  }
  for (auto& task : batch) {
    task();
  }
}

}  // namespace tovra::base
