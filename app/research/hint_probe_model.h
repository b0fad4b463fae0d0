#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/clock.h"
#include "AsoKit/types.h"
#include "app/research/request_gate.h"
#include "app/research/thread_affinity.h"

namespace tovra::store {
class HintProbeStore;
}

namespace tovra::research {

// The store's search hints for a prefix in a country (prefix and code as given). Throws asokit::AsoError,
// asokit::TransportError or asokit::Cancelled.
using HintsAsk = std::function<asokit::HintsOutcome(const std::string& prefix, const std::string& country)>;

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

// Serves the prefix from today's stored probe when there is one; otherwise asks the store and keeps its
// answer as a probe (the newest 30 per prefix and country stay). A store that cannot be read is asked
// anyway. Errors of the request pass through unchanged.
ProbeAnswer probePrefix(const std::string& prefix, const std::string& country, const HintsAsk& ask,
                        store::HintProbeStore& probes, asokit::WallTime now, const asokit::Calendar& calendar);

// The hint panel: asks for one prefix at a time, says when the answer came from the store, and keeps a
// trail of what was asked. Waits (asks nothing) while a measurement runs or the store holds requests.
// Main thread only; every change goes to the listener.
class HintProbeModel final {
 public:
  struct HintStep {
    std::string prefix;
    std::string country;
    bool operator==(const HintStep&) const = default;
  };

  HintProbeModel(HintsAsk ask, store::HintProbeStore& probes, RequestGate gate, const asokit::WallClock& clock,
                 const asokit::Calendar& calendar);

  void setListener(std::function<void()> listener);
  // Called when the store refuses the client (HTTP 403 after retries), so that the caller starts the hold.
  void setOnForbidden(std::function<void()> onForbidden);

  // asokit::Cancelled passes through; every other failure lands in failure().
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
  void changed() const;

  ThreadAffinity thread_;
  HintsAsk ask_;
  store::HintProbeStore* probes_;
  RequestGate gate_;
  const asokit::WallClock* clock_;
  const asokit::Calendar* calendar_;
  std::function<void()> listener_;
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
};

}  // namespace tovra::research
