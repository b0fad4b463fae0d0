#pragma once

#include <thread>

namespace tovra::base {

// Remembers the thread that made an observable model (the main thread) and asserts that every later
// access comes from it; a model touched from a worker is a wiring fault, caught in debug builds.
class ThreadAffinity final {
 public:
  ThreadAffinity() : owner_(std::this_thread::get_id()) {}
  void check() const;

 private:
  std::thread::id owner_;
};

}  // namespace tovra::base
