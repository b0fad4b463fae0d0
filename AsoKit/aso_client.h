#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "AsoKit/clock.h"
#include "AsoKit/rate_limiter.h"
#include "AsoKit/shared_pacing.h"
#include "AsoKit/transport.h"
#include "AsoKit/types.h"
#include "AsoKit/url.h"

namespace asokit {

struct ClientConfig {
  std::chrono::nanoseconds minInterval = std::chrono::milliseconds{1200};
  std::chrono::nanoseconds backoffBase = std::chrono::seconds{8};
  int maxAttempts = 3;
  Endpoints endpoints;
  // The slot and hold shared with the user's other Tovra processes; none: this process paces alone.
  std::shared_ptr<SharedPacing> sharedPacing;
};

// The one object the application talks to for App Store requests. It serves one caller at a time, so
// requests never overlap; every request goes through one paced, retrying fetch and the cooldown hold. A
// caller waiting for its turn gives up as soon as its `cancel` is raised, so closing a window never waits
// for another caller's batch.
class AsoClient final {
 public:
  using ProgressFn = std::function<void(const RankProgress&)>;
  using StopFn = std::function<bool()>;

  AsoClient(HTTPTransport& transport, MonotonicClock& monotonic, WallClock& wall, ClientConfig config = {});

  // Measures a batch: one request per distinct (trimmed, lower-cased country, keyword), in order of first
  // appearance. Never throws; failures are reported per query. `shouldStop` is asked before each request
  // (the request in flight always finishes); `cancel` also interrupts a wait or a request in flight, and
  // a batch cancelled before its turn came is stopped with every query skipped.
  BatchOutcome rank(const std::vector<RankQuery>& queries, int maxConsecutiveFailures, const ProgressFn& progress = {},
                    const StopFn& shouldStop = {}, std::stop_token cancel = {});

  // These throw AsoError, TransportError or Cancelled.
  SearchOutcome search(const std::string& term, const std::string& country, std::int64_t limit,
                       std::stop_token cancel = {});
  HintsOutcome hints(const std::string& prefix, const std::string& country, std::stop_token cancel = {});
  std::vector<AppInfo> lookup(const std::vector<std::string>& ids, const std::string& country,
                              std::stop_token cancel = {});
  std::optional<AppInfo> lookupBundle(const std::string& bundleId, const std::string& country,
                                      std::stop_token cancel = {});

  // The hold covers every process sharing the pacing: it is written to, and read from, the shared state.
  void hold(WallTime until);
  void releaseHold();
  // The later of this process's hold and the shared one.
  std::optional<WallTime> heldUntil() const;
  // Whole seconds until the hold ends, rounded up; none when there is no hold or it has run out.
  std::optional<std::int64_t> cooldownSecondsLeft(WallTime now) const;
  std::optional<std::int64_t> cooldownSecondsLeft() const { return cooldownSecondsLeft(wall_.now()); }

  const Endpoints& endpoints() const { return config_.endpoints; }
  RateLimiter& limiter() { return limiter_; }

 private:
  // Holds the client's one turn for an operation's lifetime; throws Cancelled when `cancel` is raised
  // while it waits.
  class Turn;

  std::string pacedFetch(const std::string& url, const Headers& headers, std::stop_token cancel);
  SearchOutcome searchLocked(const std::string& term, const std::string& country, std::int64_t limit,
                             std::stop_token cancel);
  std::vector<AppInfo> lookupLocked(const std::vector<std::string>& ids, const std::string& country,
                                    std::stop_token cancel);

  HTTPTransport& transport_;
  MonotonicClock& monotonic_;
  WallClock& wall_;
  ClientConfig config_;
  RateLimiter limiter_;
  std::mutex turnMutex_;
  std::condition_variable_any turnFree_;
  bool turnTaken_ = false;
  mutable std::mutex holdMutex_;
  std::optional<WallTime> heldUntil_;
};

// Seconds from `now` until `deadline`, rounded up (42.3 → 43).
std::int64_t secondsUntilRoundedUp(WallTime now, WallTime deadline);

}  // namespace asokit
