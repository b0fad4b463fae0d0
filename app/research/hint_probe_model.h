#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/clock.h"
#include "AsoKit/types.h"
#include "app/base/observable.h"
#include "app/base/off_main.h"
#include "app/base/thread_affinity.h"
#include "app/research/request_gate.h"

namespace tovra::store {
class HintProbeStore;
}

namespace tovra::research {

// The store's search hints for a prefix in a country (prefix and code as given). Runs off the main thread
// and throws asokit::AsoError, asokit::TransportError or asokit::Cancelled; the stop token cancels it.
using HintsAsk =
    std::function<asokit::HintsOutcome(const std::string& prefix, const std::string& country, std::stop_token stop)>;

namespace probeText {
inline constexpr std::string_view kServedFromStore = "served from today's stored probe · the store was not asked again";
}  // namespace probeText

// A probe of the same prefix and country from the current calendar day (not merely the last 24 hours)
// answers again from the store, so looking twice costs the store nothing.
struct HintProbeReuse {
  struct Stored {
    asokit::HintsOutcome outcome;
    asokit::WallTime observedAt;
    bool operator==(const Stored&) const = default;
  };
  static std::optional<Stored> find(const store::HintProbeStore& probes, std::string_view prefix,
                                    std::string_view country, asokit::WallTime now, const asokit::Calendar& calendar);
};

// One probe's answer, wherever it came from.
struct ProbeAnswer {
  asokit::HintsOutcome outcome;
  asokit::WallTime observedAt;
  bool servedFromStore = false;
  // "the results could not be saved: …" when the answer could not be kept; the answer itself stands.
  std::optional<std::string> saveFailure;
};

// A probe answers first from today's stored probe of the prefix and country, and only otherwise asks the
// store, whose answer is then kept. Both halves run on the main thread, the request between them off it.
//
// Today's stored probe as an answer; none when there is none, or when the store cannot be read (which
// only costs a request, whose save then says why it failed).
std::optional<ProbeAnswer> storedProbe(const std::string& prefix, const std::string& country,
                                       const store::HintProbeStore& probes, asokit::WallTime now,
                                       const asokit::Calendar& calendar);
// Keeps the store's answer, asked at `askedAt`, as a probe (the newest 30 per prefix and country stay).
ProbeAnswer keptProbe(asokit::HintsOutcome outcome, store::HintProbeStore& probes, asokit::WallTime askedAt);

// The hint panel: asks for one prefix at a time, says when the answer came from the store, and keeps a
// trail of what was asked. Waits (asks nothing) while a measurement runs or the store holds requests.
// Main thread only; every change goes to its subscribers. The request runs off the main thread.
class HintProbeModel final {
 public:
  struct HintStep {
    std::string prefix;
    std::string country;
    bool operator==(const HintStep&) const = default;
  };

  HintProbeModel(HintsAsk ask, store::HintProbeStore& probes, RequestGate gate, const asokit::WallClock& clock,
                 const asokit::Calendar& calendar, base::MainQueue& queue);

  // Tells every subscriber after each change of what the model shows.
  const base::Observable<>& changes() const { return changes_; }
  // Called when the store refuses the client (HTTP 403 after retries), so that the caller starts the hold.
  void setOnForbidden(std::function<void()> onForbidden);

  // Answers from today's stored probe at once, or starts asking the store; a later ask overrides one
  // still under way. A failure lands in failure(); a cancelled ask leaves the last answer as it was.
  void ask(const std::string& prefix, const std::string& country);

  bool isProbing() const { return isProbing_; }
  const std::optional<asokit::HintsOutcome>& outcome() const { return outcome_; }
  const std::optional<asokit::WallTime>& observedAt() const { return observedAt_; }
  const std::optional<std::string>& failure() const { return failure_; }
  // kServedFromStore, or the failed save of an answer that is still shown.
  const std::optional<std::string>& storeNote() const { return storeNote_; }
  bool servedFromStore() const { return servedFromStore_; }
  // Why the shown answer could not be kept as a probe; none when it was kept or came from the store.
  std::optional<std::string> saveFailure() const { return servedFromStore_ ? std::nullopt : storeNote_; }
  const std::vector<HintStep>& trail() const { return trail_; }
  // The last ask was turned away by a run, refused by the store or held back by its hold.
  bool waited() const { return waited_; }
  bool refused() const { return refused_; }

 private:
  void answered(const std::string& prefix, const std::string& country, ProbeAnswer answer);
  void failed(const std::exception& error);
  void changed();

  base::ThreadAffinity thread_;
  HintsAsk ask_;
  store::HintProbeStore* probes_;
  RequestGate gate_;
  const asokit::WallClock* clock_;
  const asokit::Calendar* calendar_;
  base::Observable<> changes_;
  std::function<void()> onForbidden_;
  bool isProbing_ = false;
  std::optional<asokit::HintsOutcome> outcome_;
  std::optional<asokit::WallTime> observedAt_;
  std::optional<std::string> failure_;
  std::optional<std::string> storeNote_;
  bool servedFromStore_ = false;
  std::vector<HintStep> trail_;
  bool waited_ = false;
  bool refused_ = false;
  base::OffMainRequests requests_;  // last: it stops its worker before the rest goes
};

}  // namespace tovra::research
