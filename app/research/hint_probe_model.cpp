#include "app/research/hint_probe_model.h"

#include "AsoKit/aso_error.h"
#include "app/store/hint_probe_store.h"
#include "app/store/store_error.h"

namespace tovra::research {

std::optional<HintProbeReuse::Stored> HintProbeReuse::find(const store::HintProbeStore& probes, std::string_view prefix,
                                                           std::string_view country, asokit::WallTime now,
                                                           const asokit::Calendar& calendar) {
  const auto saved = probes.fromSameDay(prefix, country, now, calendar);
  if (!saved) {
    return std::nullopt;
  }
  return Stored{store::outcomeOf(*saved), saved->probe.observedAt};
}

ProbeAnswer probePrefix(const std::string& prefix, const std::string& country, const HintsAsk& ask,
                        store::HintProbeStore& probes, asokit::WallTime now, const asokit::Calendar& calendar) {
  std::optional<HintProbeReuse::Stored> stored;
  try {
    stored = HintProbeReuse::find(probes, prefix, country, now, calendar);
  } catch (const store::StoreError&) {
    // An unreadable store only costs a request; the answer is still asked for (and its save then says why
    // it failed).
  }
  if (stored) {
    return ProbeAnswer{std::move(stored->outcome), stored->observedAt, true, std::nullopt};
  }
  ProbeAnswer answer{ask(prefix, country), now, false, std::nullopt};
  try {
    probes.keep(answer.outcome, now);
  } catch (const store::StoreError& error) {
    answer.saveFailure = saveFailedText(error.description());
  }
  return answer;
}

HintProbeModel::HintProbeModel(HintsAsk ask, store::HintProbeStore& probes, RequestGate gate,
                               const asokit::WallClock& clock, const asokit::Calendar& calendar)
    : ask_(std::move(ask)), probes_(&probes), gate_(std::move(gate)), clock_(&clock), calendar_(&calendar) {}

void HintProbeModel::setOnForbidden(std::function<void()> onForbidden) {
  thread_.check();
  onForbidden_ = std::move(onForbidden);
}

void HintProbeModel::changed() {
  changes_.notify();
}

void HintProbeModel::ask(const std::string& prefix, const std::string& country) {
  thread_.check();
  failure_.reset();
  storeNote_.reset();
  waited_ = false;
  refused_ = false;
  if (auto reason = gate_.hintsWaitReason()) {
    failure_ = std::move(reason);
    waited_ = true;
    changed();
    return;
  }
  isProbing_ = true;
  changed();
  try {
    auto answer = probePrefix(prefix, country, ask_, *probes_, clock_->now(), *calendar_);
    outcome_ = std::move(answer.outcome);
    observedAt_ = answer.observedAt;
    servedFromStore_ = answer.servedFromStore;
    storeNote_ = answer.servedFromStore ? std::optional<std::string>(probeText::kServedFromStore)
                                        : std::move(answer.saveFailure);
    trail_.push_back(HintStep{prefix, country});
  } catch (const asokit::Cancelled&) {
    isProbing_ = false;
    throw;
  } catch (const std::exception& error) {
    failure_ = asokit::describe(error);
    if (isRefusal(error)) {
      refused_ = true;
      if (onForbidden_) {
        onForbidden_();
      }
    }
  }
  isProbing_ = false;
  changed();
}

}  // namespace tovra::research
