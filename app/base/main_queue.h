#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace tovra::base {

// The front end's main thread, where the store and every observable model live. Work done elsewhere
// (a batch on its worker thread, a ticker) reaches the models only through it. Qt posts a queued
// invocation, the command line runs a simple loop, tests drain a queue by hand.
class MainQueue {
 public:
  virtual ~MainQueue() = default;
  // Runs `task` later on the main thread, in posting order. Safe to call from any thread.
  virtual void post(std::function<void()> task) = 0;
};

// The command line's main loop: the main thread runs posted tasks until the caller's condition holds.
class LoopQueue final : public MainQueue {
 public:
  void post(std::function<void()> task) override;
  // Runs posted tasks, waiting for them, until `done` returns true (checked before each wait).
  void runUntil(const std::function<bool()>& done);
  // Runs the tasks posted so far without waiting.
  void runPending();

 private:
  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::function<void()>> tasks_;
};

}  // namespace tovra::base
