#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "AsoKit/types.h"
#include "app/base/observable.h"
#include "app/base/thread_affinity.h"
#include "app/store/records.h"

namespace tovra::research {

namespace checkText {
inline constexpr std::string_view kChecking = "Checking one request…";
inline constexpr std::string_view kFailedPrefix = "The check failed: ";
inline constexpr std::string_view kNoResult = "No result returned";
inline constexpr std::string_view kSkipped = "The check was skipped.";
inline constexpr std::string_view kHalted = "The provider guard halted the check.";
inline constexpr std::string_view kStopped = "The check was stopped.";
inline constexpr std::string_view kTracked = "This keyword is now tracked.";
inline constexpr std::string_view kCooldown =
    "The rate-limit cooldown is active. Check once is unavailable until it clears.";
inline constexpr std::string_view kRunActive =
    "A measurement run is active. Check once is unavailable until it finishes.";
inline constexpr std::string_view kTrackThis = "Track this keyword";
}  // namespace checkText

// One keyword to check once for one tracked app.
struct KeywordCheckRequest {
  std::string id;  // a fresh UUID per request
  store::TrackedApp app;
  std::string keyword;
  std::string country;
  bool operator==(const KeywordCheckRequest&) const = default;
};

// Measures one keyword for one app with a single store request, without tracking it, and offers to track
// it afterwards. Main thread only; every change goes to its subscribers.
class KeywordCheckModel final {
 public:
  struct Idle {
    bool operator==(const Idle&) const = default;
  };
  struct Checking {
    bool operator==(const Checking&) const = default;
  };
  struct Measured {
    std::int64_t rank = 0;
    std::int64_t depth = 0;
    std::string source;
    bool operator==(const Measured&) const = default;
  };
  struct NotInTopN {
    std::int64_t depth = 0;
    std::string source;
    bool operator==(const NotInTopN&) const = default;
  };
  struct Failed {
    std::string message;
    bool operator==(const Failed&) const = default;
  };
  struct Skipped {
    bool operator==(const Skipped&) const = default;
  };
  struct Halted {
    bool operator==(const Halted&) const = default;
  };
  struct Stopped {
    bool operator==(const Stopped&) const = default;
  };
  struct Tracked {
    bool operator==(const Tracked&) const = default;
  };
  using Phase = std::variant<Idle, Checking, Measured, NotInTopN, Failed, Skipped, Halted, Stopped, Tracked>;

  // The shared client's batch measurement, given exactly one query.
  using Rank = std::function<asokit::BatchOutcome(const std::vector<asokit::RankQuery>&)>;
  // Whether a measurement run is going on, and the store's hold in whole seconds.
  using RunActive = std::function<bool()>;
  using CooldownLeft = std::function<std::optional<std::int64_t>()>;
  // Writes the request's keyword for its app through the watchlist writer; throws when it cannot.
  using Track = std::function<void(const KeywordCheckRequest&)>;

  KeywordCheckModel(Rank rank, RunActive runActive, CooldownLeft cooldownLeft, Track track);

  // Tells every subscriber after each change of what the model shows.
  const base::Observable<>& changes() const { return changes_; }

  // Why a check cannot be made now (the hold first, then a run); none when it can.
  std::optional<std::string_view> unavailableReason() const;
  // Makes the check unless it is unavailable; returns whether it was made. asokit::Cancelled passes through.
  bool check(const KeywordCheckRequest& request);
  // "Track this keyword" after a check: writes it and moves to `tracked`. A failure of the write passes
  // through to the caller and leaves the phase as it was.
  void track();

  const Phase& phase() const { return phase_; }
  const std::optional<KeywordCheckRequest>& request() const { return request_; }
  // Whether tracking is offered: after a check that read a rank or found the app outside the results.
  bool canTrack() const;

  // Maps a batch outcome of the one query to its phase.
  static Phase phaseFor(const asokit::BatchOutcome& outcome);
  // The text a phase shows; none for idle.
  static std::optional<std::string> text(const Phase& phase);
  // The phase's case name for machine output: "idle", "checking", "measured", "notInTopN", …
  static std::string_view phaseName(const Phase& phase);

 private:
  void changed();

  base::ThreadAffinity thread_;
  Rank rank_;
  RunActive runActive_;
  CooldownLeft cooldownLeft_;
  Track track_;
  base::Observable<> changes_;
  Phase phase_ = Idle{};
  std::optional<KeywordCheckRequest> request_;
};

}  // namespace tovra::research
