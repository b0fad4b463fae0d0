#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "AsoKit/aso_client.h"
#include "AsoKit/calendar.h"
#include "AsoKit/clock.h"
#include "app/base/main_queue.h"
#include "app/base/observable.h"
#include "app/measure/run_plan.h"
#include "app/measure/run_report.h"
#include "app/research/measurement_presence.h"
#include "app/research/request_gate.h"
#include "app/store/records.h"

namespace tovra::store {
class Store;
}

namespace tovra::measure {

// The one object that measures tracked keywords. It lives on the main thread with the store: a run's
// batch goes to the shared App Store client on a worker thread, progress and the result come back
// through the main-thread queue, and everything the run learnt is written in one finishing step (one
// transaction), so a run is either saved whole or not at all. After a halt it holds further runs back
// for 900 s, through the client's hold, which every Tovra process of the user shares.
class MeasurementRunner final {
 public:
  static constexpr int kMaxConsecutiveFailures = 3;
  static constexpr std::chrono::seconds kCooldown = research::kRefusalHold;

  struct Services {
    base::MainQueue& queue;  // must outlive the runner
    asokit::AsoClient& client;
    store::Store& store;
    asokit::WallClock& wall;
    asokit::MonotonicClock& tickClock;  // the cooldown ticker's one-second sleeps
    const asokit::Calendar& calendar;   // the user's calendar: the day of a run's readings
    // Tells the user's other Tovra processes that a run is going on (research waits for it); none: untold.
    const research::MeasurementPresence* presence = nullptr;
  };

  enum class StartResult { started, alreadyLive, runningElsewhere, coolingDown, nothingToMeasure };

  explicit MeasurementRunner(Services services);
  // Quitting during a run abandons it: the request in flight is cancelled and nothing of it is saved.
  ~MeasurementRunner();
  MeasurementRunner(const MeasurementRunner&) = delete;
  MeasurementRunner& operator=(const MeasurementRunner&) = delete;

  // Starts measuring those of `queries` that belong to an app (research-space keywords never enter a
  // run). Does nothing while a run is live or a hold counts down, here or in another Tovra process: two
  // runs at once would ask the store the same questions twice.
  // Throws StoreError when the queries' apps cannot be read.
  StartResult start(const std::vector<store::TrackedQuery>& queries);
  // The request in flight finishes, no further one is made, and everything measured is kept.
  void stop();

  const std::optional<LiveRun>& live() const { return live_; }
  bool isLive() const { return live_.has_value(); }
  const std::optional<RunReport>& report() const { return report_; }
  // Whole seconds until runs are allowed again; absent when nothing holds them.
  std::optional<std::int64_t> cooldownSecondsLeft() const { return cooldownSecondsLeft_; }
  // Re-reads the hold and counts it down. The ticker calls it every second while a hold lasts; a view
  // coming back into sight may call it too.
  void refreshCooldown();

  // Once per finished run, with the report and the run's queries.
  const base::Observable<RunReport, std::vector<store::TrackedQuery>>& reports() const { return reports_; }
  // After every change of live(), report() or cooldownSecondsLeft().
  const base::Observable<>& changes() const { return changes_; }
  // For each finished request of the live run, after live() took it.
  const base::Observable<CompletedRequest>& progress() const { return progress_; }

 private:
  struct Token {
    MeasurementRunner* runner;
  };

  void progressed(const asokit::RankProgress& progress);
  void finish(asokit::BatchOutcome outcome);
  void startCooldown();
  void startTicker();
  void changed();

  Services services_;
  std::shared_ptr<Token> token_;
  std::optional<LiveRun> live_;
  std::optional<RunReport> report_;
  std::optional<std::int64_t> cooldownSecondsLeft_;
  std::shared_ptr<StopFlag> stopFlag_;
  std::vector<RunEntry> entries_;
  std::unique_ptr<research::MeasurementPresence::Hold> presenceHold_;
  base::Observable<RunReport, std::vector<store::TrackedQuery>> reports_;
  base::Observable<> changes_;
  base::Observable<CompletedRequest> progress_;
  std::jthread worker_;
  std::jthread ticker_;
};

// The run's entries: each query with its app, in the given order; queries without an app (research
// spaces) or whose app is gone are dropped. Throws StoreError when the apps cannot be read.
std::vector<RunEntry> runEntries(store::Store& store, const std::vector<store::TrackedQuery>& queries);

}  // namespace tovra::measure
