#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "AsoKit/aso_client.h"
#include "app/base/zoned_calendar.h"
#include "app/measure/measurement_runner.h"
#include "app/store/store.h"
#include "measure/fakes.h"
#include "measure/seed.h"

namespace tovra::measure::testing {

// A runner on virtual time against a scripted store and a store kept in memory, with the main-thread
// queue in the test's hands and a cooldown ticker that never ticks by itself.
struct Rig {
  explicit Rig(asokit::WallTime start = localTime("Europe/Berlin", 2025, 1, 14, 9, 30),
               const std::string& zone = "Europe/Berlin");
  ~Rig();

  // Starts a run of every keyword of an app that is not paused, and runs the main thread until it ends.
  MeasurementRunner::StartResult measure();
  MeasurementRunner::StartResult measure(const std::vector<store::TrackedQuery>& queries);

  asokit::VirtualClock clock;
  base::ZonedCalendar calendar;
  ParkedClock ticker;
  ManualQueue queue;
  ScriptedStore transport{clock.monotonic()};
  asokit::AsoClient client{transport, clock.monotonic(), clock.wall()};
  std::unique_ptr<store::Store> store = store::Store::inMemory();
  Seed seed{*store};
  std::unique_ptr<MeasurementRunner> runner;
  std::vector<RunReport> reports;
  std::vector<store::TrackedQuery> reportedQueries;
  std::vector<CompletedRequest> progress;
  std::vector<base::Subscription> subscriptions;
};

}  // namespace tovra::measure::testing
