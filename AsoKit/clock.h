#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>

namespace asokit {

using MonoTime = std::chrono::steady_clock::time_point;
using WallTime = std::chrono::system_clock::time_point;
using Seconds = std::chrono::duration<double>;

// The continuous clock that paces requests and times back-offs; wall-clock changes do not move it.
class MonotonicClock {
 public:
  virtual ~MonotonicClock() = default;
  virtual MonoTime now() const = 0;
  // Returns true once `deadline` has passed, false as soon as `stop` is requested (at once, even in
  // the middle of a long wait).
  virtual bool sleepUntil(MonoTime deadline, std::stop_token stop) = 0;
};

// The calendar clock: holds, reading times, run dates.
class WallClock {
 public:
  virtual ~WallClock() = default;
  virtual WallTime now() const = 0;
};

class SystemMonotonicClock final : public MonotonicClock {
 public:
  MonoTime now() const override { return std::chrono::steady_clock::now(); }
  bool sleepUntil(MonoTime deadline, std::stop_token stop) override;

 private:
  std::mutex mutex_;
  std::condition_variable_any wake_;
};

class SystemWallClock final : public WallClock {
 public:
  WallTime now() const override { return std::chrono::system_clock::now(); }
};

// Test and benchmark time: a sleep moves both clocks to its deadline at once, so an 8 s back-off or a
// 900 s hold costs nothing to test and every interval can be asserted exactly.
class VirtualClock final {
 public:
  explicit VirtualClock(WallTime wallStart = WallTime{std::chrono::seconds{1'700'000'000}});

  MonotonicClock& monotonic() { return mono_; }
  WallClock& wall() { return wall_; }
  MonoTime monoNow() const;
  WallTime wallNow() const;
  void advance(std::chrono::nanoseconds by);
  // Total virtual time slept through sleepUntil (advance() not included).
  std::chrono::nanoseconds slept() const;

 private:
  class Mono final : public MonotonicClock {
   public:
    explicit Mono(VirtualClock& owner) : owner_(owner) {}
    MonoTime now() const override { return owner_.monoNow(); }
    bool sleepUntil(MonoTime deadline, std::stop_token stop) override;

   private:
    VirtualClock& owner_;
  };
  class Wall final : public WallClock {
   public:
    explicit Wall(VirtualClock& owner) : owner_(owner) {}
    WallTime now() const override { return owner_.wallNow(); }

   private:
    VirtualClock& owner_;
  };

  mutable std::mutex mutex_;
  std::chrono::nanoseconds elapsed_{0};
  std::chrono::nanoseconds slept_{0};
  WallTime wallStart_;
  Mono mono_{*this};
  Wall wall_{*this};
};

}  // namespace asokit
