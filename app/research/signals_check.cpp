#include "app/research/signals_check.h"

#include "AsoKit/aso_error.h"
#include "app/research/keyword_key.h"
#include "app/store/hint_probe_store.h"
#include "app/store/ladder_writer.h"
#include "app/store/store.h"
#include "app/store/store_error.h"

namespace tovra::research {

SignalsCheck::SignalsCheck(SignalsSearch search, HintsAsk hints, store::Store& store, RequestGate gate,
                           const asokit::WallClock& clock, const asokit::Calendar& calendar)
    : search_(std::move(search)),
      hints_(std::move(hints)),
      store_(&store),
      gate_(std::move(gate)),
      clock_(&clock),
      calendar_(&calendar) {}

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
  const auto term = collapseWhitespace(keyword);
  const std::string code(country);
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
  changed();

  Summary summary;
  asokit::FailureGuard guard;
  KeywordSignals signals{term, normalizedCountry(country), std::nullopt, std::nullopt, std::nullopt, {}};
  try {
    try {
      const auto outcome = search_(term, code);
      guard.recordSuccess();
      summary.ladderFetched = true;
      const auto fetchedAt = clock_->now();
      signals.difficulty = difficultyOf(outcome.apps);
      if (signals.difficulty) {
        signals.difficultyAsOf = fetchedAt;
        signals.difficultySource = difficultySourceText(signals.difficulty->sampled, kSignalsLadderSource);
      }
      try {
        store::LadderWriter(*store_).write(store::LadderReading{term, code, outcome.apps, outcome.resultCount,
                                                                store::enrichedDepth(outcome.apps),
                                                                std::string(kSignalsLadderSource), fetchedAt});
      } catch (const store::StoreError& error) {
        saveFailure_ = saveFailedText(error.description());
      }
    } catch (const asokit::Cancelled&) {
      throw;
    } catch (const std::exception& error) {
      failedRequest(error, summary, guard);
    }

    PrefixPlanner planner(term);
    store::HintProbeStore probes(*store_);
    while (!summary.halted && summary.probesAsked < kMaxProbes) {
      const auto length = planner.nextLength();
      if (!length) {
        break;
      }
      if (gate_.measurementRunning()) {
        // A run started in another window or process: the store is its own until it ends.
        summary.halted = true;
        summary.lastFailure = std::string(waitText::kMeasurementRunning);
        break;
      }
      const auto prefix = planner.prefix(*length);
      ++summary.probesAsked;
      try {
        auto answer = probePrefix(prefix, code, hints_, probes, clock_->now(), *calendar_);
        guard.recordSuccess();
        if (answer.saveFailure) {
          saveFailure_ = std::move(answer.saveFailure);
        }
        const auto snapshot = HintSnapshot::from(answer.outcome, answer.observedAt);
        planner.observe(*length, snapshot);
        steps_.push_back(ProbeStep{prefix, *length, snapshot.positionOf(planner.keyword()), answer.servedFromStore,
                                   answer.observedAt});
        changed();
      } catch (const asokit::Cancelled&) {
        throw;
      } catch (const std::exception& error) {
        failedRequest(error, summary, guard);
      }
    }
    summary.converged = planner.converged();
    signals.reach = planner.reach();
  } catch (const asokit::Cancelled&) {
    phase_ = Idle{};
    changed();
    throw;
  }

  if (!summary.ladderFetched) {
    // Without a fresh search the difficulty can still come from a saved search of the last seven days.
    try {
      const auto stored = storedSignals(*store_, term, code, clock_->now());
      signals.difficulty = stored.difficulty;
      signals.difficultyAsOf = stored.difficultyAsOf;
      signals.difficultySource = stored.difficultySource;
    } catch (const store::StoreError&) {
      // The summary already tells the search failed; an unreadable store leaves the difficulty unknown.
    }
  }
  signals_ = std::move(signals);
  phase_ = Finished{summary};
  changed();
  return Start::started;
}

}  // namespace tovra::research
