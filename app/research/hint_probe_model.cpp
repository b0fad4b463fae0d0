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

std::optional<ProbeAnswer> storedProbe(const std::string& prefix, const std::string& country,
                                       const store::HintProbeStore& probes, asokit::WallTime now,
                                       const asokit::Calendar& calendar) {
  try {
    if (auto stored = HintProbeReuse::find(probes, prefix, country, now, calendar)) {
      return ProbeAnswer{std::move(stored->outcome), stored->observedAt, true, std::nullopt};
    }
  } catch (const store::StoreError&) {
    // Asked again instead; the save of the fresh answer tells what is wrong with the store.
  }
  return std::nullopt;
}

ProbeAnswer keptProbe(asokit::HintsOutcome outcome, store::HintProbeStore& probes, asokit::WallTime askedAt) {
  ProbeAnswer answer{std::move(outcome), askedAt, false, std::nullopt};
  try {
    probes.keep(answer.outcome, askedAt);
  } catch (const store::StoreError& error) {
    answer.saveFailure = saveFailedText(error.description());
  }
  return answer;
}

HintProbeModel::HintProbeModel(HintsAsk ask, store::HintProbeStore& probes, RequestGate gate,
                               const asokit::WallClock& clock, const asokit::Calendar& calendar, base::MainQueue& queue)
    : ask_(std::move(ask)),
      probes_(&probes),
      gate_(std::move(gate)),
      clock_(&clock),
      calendar_(&calendar),
      requests_(queue) {}

void HintProbeModel::setOnForbidden(std::function<void()> onForbidden) {
  thread_.check();
  onForbidden_ = std::move(onForbidden);
}

void HintProbeModel::changed() {
  changes_.notify();
}

void HintProbeModel::ask(const std::string& prefix, const std::string& country) {
  thread_.check();
  requests_.cancel();
  failure_.reset();
  storeNote_.reset();
  waited_ = false;
  refused_ = false;
  if (auto reason = gate_.hintsWaitReason()) {
    failure_ = std::move(reason);
    waited_ = true;
    isProbing_ = false;
    changed();
    return;
  }
  const auto now = clock_->now();
  if (auto stored = storedProbe(prefix, country, *probes_, now, *calendar_)) {
    answered(prefix, country, std::move(*stored));
    return;
  }
  isProbing_ = true;
  changed();
  requests_.start<asokit::HintsOutcome>(
      [this, prefix, country](std::stop_token stop) { return ask_(prefix, country, stop); },
      [this, prefix, country, now](base::Answer<asokit::HintsOutcome> answer) {
        try {
          answered(prefix, country, keptProbe(answer.take(), *probes_, now));
        } catch (const asokit::Cancelled&) {
          isProbing_ = false;
          changed();
        } catch (const std::exception& error) {
          failed(error);
        }
      });
}

void HintProbeModel::answered(const std::string& prefix, const std::string& country, ProbeAnswer answer) {
  outcome_ = std::move(answer.outcome);
  observedAt_ = answer.observedAt;
  servedFromStore_ = answer.servedFromStore;
  storeNote_ =
      answer.servedFromStore ? std::optional<std::string>(probeText::kServedFromStore) : std::move(answer.saveFailure);
  trail_.push_back(HintStep{prefix, country});
  isProbing_ = false;
  changed();
}

void HintProbeModel::failed(const std::exception& error) {
  failure_ = asokit::describe(error);
  if (isRefusal(error)) {
    refused_ = true;
    if (onForbidden_) {
      onForbidden_();
    }
  }
  isProbing_ = false;
  changed();
}

}  // namespace tovra::research
