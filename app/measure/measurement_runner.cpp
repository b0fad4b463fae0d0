#include "app/measure/measurement_runner.h"

#include <unordered_map>

#include "AsoKit/aso_error.h"
#include "app/measure/run_finish.h"
#include "app/store/store.h"

namespace tovra::measure {
namespace {

// The batch operation never throws; should it ever, every query counts as failed with the error's words
// rather than the run vanishing.
asokit::BatchOutcome failedBatch(const std::vector<asokit::RankQuery>& queries, const std::string& description) {
  asokit::BatchOutcome outcome;
  for (const auto& query : queries) {
    outcome.results.push_back({query, asokit::RankStatus{asokit::RankStatus::Failed{description}}});
  }
  outcome.errors.push_back(description);
  return outcome;
}

}  // namespace

std::vector<RunEntry> runEntries(store::Store& store, const std::vector<store::TrackedQuery>& queries) {
  std::vector<RunEntry> entries;
  std::unordered_map<std::int64_t, std::optional<store::TrackedApp>> apps;
  for (const auto& query : queries) {
    if (!query.app) {
      continue;
    }
    auto found = apps.find(query.app->value);
    if (found == apps.end()) {
      found = apps.emplace(query.app->value, store.apps().find(*query.app)).first;
    }
    if (found->second) {
      entries.push_back({query, *found->second});
    }
  }
  return entries;
}

MeasurementRunner::MeasurementRunner(Services services)
    : services_(services), token_(std::make_shared<Token>(Token{this})) {
  // Started during a hold (another process's, or this one's before a restart), it counts down at once.
  refreshCooldown();
}

MeasurementRunner::~MeasurementRunner() {
  // Tasks already posted find no runner; the threads end at once and are joined by their destructors.
  token_.reset();
  worker_.request_stop();
  ticker_.request_stop();
}

MeasurementRunner::StartResult MeasurementRunner::start(const std::vector<store::TrackedQuery>& queries) {
  if (live_) {
    return StartResult::alreadyLive;
  }
  // The hold may come from another Tovra process, so it is read afresh rather than remembered.
  refreshCooldown();
  if (cooldownSecondsLeft_) {
    return StartResult::coolingDown;
  }
  auto entries = runEntries(services_.store, queries);
  if (entries.empty()) {
    return StartResult::nothingToMeasure;
  }
  if (services_.presence) {
    // A mark that cannot be made for want of a state folder does not keep the run from going on.
    presenceHold_ = services_.presence->hold();
    if (!presenceHold_ && services_.presence->running()) {
      return StartResult::runningElsewhere;
    }
  }
  if (worker_.joinable()) {
    worker_.join();
  }

  entries_ = std::move(entries);
  stopFlag_ = std::make_shared<StopFlag>();
  report_.reset();
  live_ = LiveRun{services_.wall.now(), planFor(entries_), static_cast<std::int64_t>(entries_.size()), 0, {}, false};

  std::vector<asokit::RankQuery> rankQueries;
  rankQueries.reserve(entries_.size());
  for (const auto& entry : entries_) {
    rankQueries.push_back(entry.rankQuery());
  }
  std::weak_ptr<Token> weak = token_;
  auto& queue = services_.queue;
  auto& client = services_.client;
  worker_ = std::jthread(
      [weak, &queue, &client, flag = stopFlag_, rankQueries = std::move(rankQueries)](std::stop_token cancel) noexcept {
        asokit::BatchOutcome outcome;
        try {
          const auto progress = [weak, &queue](const asokit::RankProgress& report) {
            queue.post([weak, report] {
              if (const auto token = weak.lock()) {
                token->runner->progressed(report);
              }
            });
          };
          outcome = client.rank(
              rankQueries, kMaxConsecutiveFailures, progress, [flag] { return flag->isRaised(); }, cancel);
        } catch (const std::exception& error) {
          outcome = failedBatch(rankQueries, asokit::describe(error));
        } catch (...) {
          outcome = failedBatch(rankQueries, "the run ended on an unexpected error");
        }
        try {
          queue.post([weak, outcome = std::move(outcome)]() mutable {
            if (const auto token = weak.lock()) {
              token->runner->finish(std::move(outcome));
            }
          });
        } catch (...) {
          // Out of memory while posting: the run is lost, as when quitting during it.
        }
      });
  changed();
  return StartResult::started;
}

void MeasurementRunner::stop() {
  if (!live_) {
    return;
  }
  stopFlag_->raise();
  live_->stopRequested = true;
  changed();
}

void MeasurementRunner::progressed(const asokit::RankProgress& progress) {
  if (!live_) {
    return;
  }
  live_->completedRequests = progress.completedRequests;
  live_->done.push_back({progress.completedRequests, {progress.country, progress.keyword}, progress.succeeded});
  progress_.notify(live_->done.back());
  changed();
}

void MeasurementRunner::finish(asokit::BatchOutcome outcome) {
  if (worker_.joinable()) {
    worker_.join();  // it posted this as its last act
  }
  const auto finishedAt = services_.wall.now();
  const auto startedAt = live_ ? live_->startedAt : finishedAt;
  live_.reset();
  stopFlag_.reset();
  presenceHold_.reset();
  const auto entries = std::move(entries_);
  entries_.clear();

  report_ = finishRun(services_.store, services_.calendar, entries, outcome, startedAt, finishedAt);
  changed();
  std::vector<store::TrackedQuery> queries;
  queries.reserve(entries.size());
  for (const auto& entry : entries) {
    queries.push_back(entry.query);
  }
  reports_.notify(*report_, queries);
  // The store's block is per address, so a single refusal holds as a halt does.
  if (outcome.halted || outcome.refused) {
    startCooldown();
  }
}

void MeasurementRunner::startCooldown() {
  research::holdAfterRefusal(services_.client, services_.wall.now());
  refreshCooldown();
}

void MeasurementRunner::refreshCooldown() {
  const auto left = services_.client.cooldownSecondsLeft(services_.wall.now());
  if (left != cooldownSecondsLeft_) {
    cooldownSecondsLeft_ = left;
    changed();
  }
  if (left) {
    startTicker();
  } else if (ticker_.joinable()) {
    ticker_.request_stop();
  }
}

void MeasurementRunner::startTicker() {
  if (ticker_.joinable() && !ticker_.get_stop_token().stop_requested()) {
    return;
  }
  if (ticker_.joinable()) {
    ticker_.join();
  }
  std::weak_ptr<Token> weak = token_;
  auto& queue = services_.queue;
  auto& clock = services_.tickClock;
  ticker_ = std::jthread([weak, &queue, &clock](std::stop_token stop) noexcept {
    try {
      while (clock.sleepUntil(clock.now() + std::chrono::seconds{1}, stop)) {
        queue.post([weak] {
          if (const auto token = weak.lock()) {
            token->runner->refreshCooldown();
          }
        });
      }
    } catch (...) {
      // A ticker that cannot post stops ticking; the next start or refresh reads the hold anew.
    }
  });
}

void MeasurementRunner::changed() {
  changes_.notify();
}

}  // namespace tovra::measure
