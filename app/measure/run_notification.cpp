#include "app/measure/run_notification.h"

#include "app/store/dates.h"

namespace tovra::measure {

std::string notificationTitle(const RunReport& report) {
  // Whatever the requests did, a run whose save failed left nothing behind, and says so first.
  if (report.saveFailure) {
    return "Measurement not saved";
  }
  switch (report.ending) {
    case RunReport::Ending::halted:
      return "Measurement halted";
    case RunReport::Ending::stopped:
      return "Measurement stopped";
    case RunReport::Ending::finished:
      break;
  }
  return "Measurement finished";
}

std::string notificationBody(const RunReport& report) {
  if (report.saveFailure) {
    return "Nothing of this run was saved · " + *report.saveFailure;
  }
  std::string body = std::to_string(report.measured) + " of " + std::to_string(report.queryCount) + " measured";
  if (const auto missing = report.failed + report.skipped; missing >= 1) {
    body += " · " + std::to_string(missing) + " not measured";
  }
  if (report.ending == RunReport::Ending::halted) {
    body += " · Apple paused requests";
  }
  body += " · source: " + report.source;
  return body;
}

NotificationContent notificationFor(const RunReport& report) {
  return {"tovra.run." + std::to_string(store::toMillis(report.finishedAt)), notificationTitle(report),
          notificationBody(report)};
}

}  // namespace tovra::measure
