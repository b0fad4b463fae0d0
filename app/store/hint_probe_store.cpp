#include "app/store/hint_probe_store.h"

#include <algorithm>

#include "AsoKit/rank_history.h"
#include "app/base/keyword_key.h"
#include "app/store/retention.h"
#include "app/store/store.h"
#include "app/store/transaction.h"

namespace tovra::store {

std::vector<HintProbe> HintProbeStore::probesFor(std::string_view prefix, std::string_view country) const {
  // A trailing blank or a capital asks the store for other completions, so prefixes compare exactly.
  auto probes = store_->probes().inCountry(base::normalizedCountry(country));
  std::erase_if(probes, [&](const HintProbe& probe) { return probe.prefix != prefix; });
  return probes;
}

KeptProbe HintProbeStore::keep(const asokit::HintsOutcome& outcome, WallTime observedAt) {
  Transaction transaction(*store_);
  HintProbe probe;
  probe.prefix = outcome.prefix;
  probe.country = base::normalizedCountry(outcome.country);
  probe.observedAt = observedAt;
  probe.source = outcome.source;
  probe.carriedPriority = outcome.carriesPriority;
  std::vector<StoreHint> hints;
  hints.reserve(outcome.terms.size());
  for (const auto& term : outcome.terms) {
    StoreHint hint;
    hint.position = term.position;
    hint.term = term.term;
    hint.priority = term.priority;
    hints.push_back(std::move(hint));
  }
  KeptProbe kept{store_->probes().insertWithHints(probe, hints), 0};

  const auto all = probesFor(outcome.prefix, outcome.country);
  std::vector<WallTime> dates;
  dates.reserve(all.size());
  std::transform(all.begin(), all.end(), std::back_inserter(dates), [](const auto& p) { return p.observedAt; });
  for (const auto index : asokit::ladder_retention::indicesToDelete(dates, kRetentionDepth)) {
    store_->probes().remove(all[index].rowId);
    ++kept.removedByRetention;
  }
  transaction.commit();
  return kept;
}

std::optional<SavedProbe> HintProbeStore::fromSameDay(std::string_view prefix, std::string_view country, WallTime now,
                                                      const asokit::Calendar& calendar) const {
  for (const auto& probe : probesFor(prefix, country)) {
    if (calendar.isSameDay(probe.observedAt, now)) {
      return withHints(probe);
    }
  }
  return std::nullopt;
}

std::optional<SavedProbe> HintProbeStore::newest(std::string_view prefix, std::string_view country) const {
  const auto probes = probesFor(prefix, country);
  if (probes.empty()) {
    return std::nullopt;
  }
  return withHints(probes.front());
}

SavedProbe HintProbeStore::withHints(const HintProbe& probe) const {
  return SavedProbe{probe, store_->hints().ofProbe(probe.rowId)};
}

asokit::HintsOutcome outcomeOf(const SavedProbe& probe) {
  asokit::HintsOutcome outcome;
  outcome.prefix = probe.probe.prefix;
  outcome.country = probe.probe.country;
  outcome.source = probe.probe.source;
  outcome.carriesPriority = probe.probe.carriedPriority;
  for (const auto& hint : probe.hints) {
    outcome.terms.push_back(asokit::HintTerm{hint.position, hint.term, hint.priority});
  }
  return outcome;
}

}  // namespace tovra::store
