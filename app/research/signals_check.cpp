#include "app/research/signals_check.h"

#include "AsoKit/aso_error.h"
#include "app/base/keyword_key.h"
#include "app/store/hint_probe_store.h"
#include "app/store/ladder_writer.h"
#include "app/store/store.h"
#include "app/store/store_error.h"

namespace tovra::research {

SignalsCheck::SignalsCheck(SignalsSearch search, HintsAsk hints, store::Store& store, RequestGate gate,
                           const asokit::WallClock& clock, const asokit::Calendar& calendar, base::MainQueue& queue)
    : search_(std::move(search)),
      hints_(std::move(hints)),
      store_(&store),
      gate_(std::move(gate)),
      clock_(&clock),
      calendar_(&calendar),
      requests_(queue) {}

void SignalsCheck::setOnForbidden(std::function<void()> onForbidden) {
  thread_.check();
  onForbidden_ = std::move(onForbidden);
}

void SignalsCheck::changed() {
  changes_.notify();
}

bool SignalsCheck::failedRequest(const std::exception& error, Summary& summary, asokit::FailureGuard& guard) {
  ++summary.failed;
  summary.lastFailure = asokit::describe(error);
  const bool guardHalts = guard.recordFailure();
  if (!isRefusal(error) && !guardHalts) {
    return false;
  }
  summary.halted = true;
  if (onForbidden_) {
    onForbidden_();
  }
  return true;
}

SignalsCheck::Start SignalsCheck::start(std::string_view keyword, std::string_view country) {
  thread_.check();
  auto term = base::collapseWhitespace(keyword);
  std::string code(country);
  waitReason_.reset();
  if (term.empty()) {
    return Start::nothing;
  }
  if (auto reason = gate_.hintsWaitReason()) {
    waitReason_ = std::move(reason);
    changed();
    return Start::waiting;
  }

  target_ = term;
  phase_ = Running{};
  signals_.reset();
  steps_.clear();
  saveFailure_.reset();
  KeywordSignals signals{term, base::normalizedCountry(country), std::nullopt, std::nullopt, std::nullopt, {}};
  PrefixPlanner planner(term);
  progress_.emplace(Progress{term, code, Summary{}, asokit::FailureGuard{}, std::move(signals), std::move(planner)});
  changed();
  requests_.start<asokit::SearchOutcome>(
      [this, term, code](std::stop_token stop) { return search_(term, code, stop); },
      [this](base::Answer<asokit::SearchOutcome> answer) { searched(std::move(answer)); });
  return Start::started;
}

void SignalsCheck::searched(base::Answer<asokit::SearchOutcome> answer) {
  auto& check = *progress_;
  try {
    const auto outcome = answer.take();
    check.guard.recordSuccess();
    check.summary.ladderFetched = true;
    const auto fetchedAt = clock_->now();
    check.signals.difficulty = difficultyOf(outcome.apps);
    if (check.signals.difficulty) {
      check.signals.difficultyAsOf = fetchedAt;
      check.signals.difficultySource = difficultySourceText(check.signals.difficulty->sampled, kSignalsLadderSource);
    }
    try {
      store::LadderWriter(*store_).write(store::LadderReading{check.term, check.code, outcome.apps, outcome.resultCount,
                                                              store::enrichedDepth(outcome.apps),
                                                              std::string(kSignalsLadderSource), fetchedAt});
    } catch (const store::StoreError& error) {
      saveFailure_ = saveFailedText(error.description());
    }
  } catch (const asokit::Cancelled&) {
    cancelled();
    return;
  } catch (const std::exception& error) {
    failedRequest(error, check.summary, check.guard);
  }
  nextProbe();
}

void SignalsCheck::nextProbe() {
  auto& check = *progress_;
  store::HintProbeStore probes(*store_);
  while (!check.summary.halted && check.summary.probesAsked < kMaxProbes) {
    const auto length = check.planner.nextLength();
    if (!length) {
      break;
    }
    if (gate_.measurementRunning()) {
      // A run started in another window or process: the store is its own until it ends.
      check.summary.halted = true;
      check.summary.lastFailure = std::string(waitText::kMeasurementRunning);
      break;
    }
    const auto prefix = check.planner.prefix(*length);
    ++check.summary.probesAsked;
    const auto now = clock_->now();
    if (auto stored = storedProbe(prefix, check.code, probes, now, *calendar_)) {
      probed(*length, prefix, std::move(*stored));
      continue;
    }
    requests_.start<asokit::HintsOutcome>(
        [this, prefix, code = check.code](std::stop_token stop) { return hints_(prefix, code, stop); },
        [this, length = *length, prefix, now](base::Answer<asokit::HintsOutcome> answer) {
          auto& check = *progress_;
          try {
            store::HintProbeStore probes(*store_);
            probed(length, prefix, keptProbe(answer.take(), probes, now));
          } catch (const asokit::Cancelled&) {
            cancelled();
            return;
          } catch (const std::exception& error) {
            failedRequest(error, check.summary, check.guard);
          }
          nextProbe();
        });
    return;
  }
  finish();
}

void SignalsCheck::probed(std::int64_t length, const std::string& prefix, ProbeAnswer answer) {
  auto& check = *progress_;
  check.guard.recordSuccess();
  if (answer.saveFailure) {
    saveFailure_ = std::move(answer.saveFailure);
  }
  const auto snapshot = HintSnapshot::from(answer.outcome, answer.observedAt);
  check.planner.observe(length, snapshot);
  steps_.push_back(ProbeStep{prefix, length, snapshot.positionOf(check.planner.keyword()), answer.servedFromStore,
                             answer.observedAt});
  changed();
}

void SignalsCheck::finish() {
  auto check = std::move(*progress_);
  progress_.reset();
  check.summary.converged = check.planner.converged();
  check.signals.reach = check.planner.reach();
  if (!check.summary.ladderFetched) {
    // Without a fresh search the difficulty can still come from a saved search of the last seven days.
    try {
      const auto stored = storedSignals(*store_, check.term, check.code, clock_->now());
      check.signals.difficulty = stored.difficulty;
      check.signals.difficultyAsOf = stored.difficultyAsOf;
      check.signals.difficultySource = stored.difficultySource;
    } catch (const store::StoreError&) {
      // The summary already tells the search failed; an unreadable store leaves the difficulty unknown.
    }
  }
  signals_ = std::move(check.signals);
  phase_ = Finished{check.summary};
  changed();
}

void SignalsCheck::cancelled() {
  progress_.reset();
  phase_ = Idle{};
  changed();
}

}  // namespace tovra::research
