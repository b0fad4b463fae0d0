#include "measure/runner_fixture.h"

namespace tovra::measure::testing {

Rig::Rig(asokit::WallTime start, const std::string& zone) : clock(start), calendar(zone) {
  runner = std::make_unique<MeasurementRunner>(
      MeasurementRunner::Services{queue, client, *store, clock.wall(), ticker, calendar});
  subscriptions.push_back(
      runner->reports().subscribe([this](const RunReport& report, const std::vector<store::TrackedQuery>& queries) {
        reports.push_back(report);
        reportedQueries = queries;
      }));
  subscriptions.push_back(
      runner->progress().subscribe([this](const CompletedRequest& request) { progress.push_back(request); }));
}

Rig::~Rig() {
  runner.reset();
}

MeasurementRunner::StartResult Rig::measure() {
  return measure(store->queries().measurable());
}

MeasurementRunner::StartResult Rig::measure(const std::vector<store::TrackedQuery>& queries) {
  const auto result = runner->start(queries);
  if (result == MeasurementRunner::StartResult::started) {
    queue.runUntil([this] { return !runner->isLive(); });
  }
  return result;
}

}  // namespace tovra::measure::testing
