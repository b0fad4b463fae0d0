#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/clock.h"
#include "AsoKit/rate_limiter.h"
#include "AsoKit/types.h"
#include "app/base/observable.h"
#include "app/base/thread_affinity.h"
#include "app/research/hint_probe_model.h"
#include "app/research/keyword_signals.h"
#include "app/research/request_gate.h"

namespace tovra::store {
class Store;
}

namespace tovra::research {

// A store search of a term in a country (both as given), its top apps with their rating counts. Throws
// like asokit::AsoClient::search.
using SignalsSearch = std::function<asokit::SearchOutcome(const std::string& term, const std::string& country)>;

// The source a signals check's saved search carries.
inline constexpr std::string_view kSignalsLadderSource = "signals";

// Fetches fresh signals for one keyword on request: one store search for the difficulty (kept as a saved
// search) and at most five hint probes, bisecting the prefix lengths for the reach (each served from
// today's stored probe when there is one, and kept otherwise). Failures are counted, not fatal; a refusal
// by the store, or three failures in a row, stops the check and calls onForbidden. Main thread only;
// every change goes to its subscribers.
class SignalsCheck final {
 public:
  struct Summary {
    bool ladderFetched = false;
    std::int64_t probesAsked = 0;
    std::int64_t failed = 0;
    bool halted = false;
    std::optional<std::string> lastFailure;
    bool converged = false;
    bool operator==(const Summary&) const = default;
  };
  struct Idle {
    bool operator==(const Idle&) const = default;
  };
  struct Running {
    bool operator==(const Running&) const = default;
  };
  struct Finished {
    Summary summary;
    bool operator==(const Finished&) const = default;
  };
  using Phase = std::variant<Idle, Running, Finished>;

  // One hint probe the check asked.
  struct ProbeStep {
    std::string prefix;
    std::int64_t letters = 0;
    std::optional<std::int64_t> position;  // where the keyword was listed; absent when it was not
    bool servedFromStore = false;
    asokit::WallTime observedAt;
    bool operator==(const ProbeStep&) const = default;
  };

  enum class Start {
    started,  // ran to its finished phase
    waiting,  // a run or a hold: nothing was asked, waitReason() says why
    nothing,  // the keyword is empty once its white space is collapsed
  };

  SignalsCheck(SignalsSearch search, HintsAsk hints, store::Store& store, RequestGate gate,
               const asokit::WallClock& clock, const asokit::Calendar& calendar);

  // Tells every subscriber after each change of what the model shows.
  const base::Observable<>& changes() const { return changes_; }
  void setOnForbidden(std::function<void()> onForbidden);

  // Runs the whole check. asokit::Cancelled passes through and leaves the check idle.
  Start start(std::string_view keyword, std::string_view country);

  const std::optional<std::string>& target() const { return target_; }
  const Phase& phase() const { return phase_; }
  const std::optional<KeywordSignals>& signals() const { return signals_; }
  const std::vector<ProbeStep>& steps() const { return steps_; }
  const std::optional<std::string>& waitReason() const { return waitReason_; }
  // "the results could not be saved: …" when the search or a probe could not be kept.
  const std::optional<std::string>& saveFailure() const { return saveFailure_; }

 private:
  // Records a failed request; true when the check must stop.
  bool failedRequest(const std::exception& error, Summary& summary, asokit::FailureGuard& guard);
  void changed();

  base::ThreadAffinity thread_;
  SignalsSearch search_;
  HintsAsk hints_;
  store::Store* store_;
  RequestGate gate_;
  const asokit::WallClock* clock_;
  const asokit::Calendar* calendar_;
  base::Observable<> changes_;
  std::function<void()> onForbidden_;
  std::optional<std::string> target_;
  Phase phase_ = Idle{};
  std::optional<KeywordSignals> signals_;
  std::vector<ProbeStep> steps_;
  std::optional<std::string> waitReason_;
  std::optional<std::string> saveFailure_;
};

}  // namespace tovra::research
