#pragma once

#include <string>

#include "app/measure/run_report.h"

namespace tovra::measure {

// What a run's end says in a desktop notification.
struct NotificationContent {
  std::string identifier;
  std::string title;
  std::string body;
  bool operator==(const NotificationContent&) const = default;
};

// "Measurement finished", "Measurement halted" or "Measurement stopped"; "Measurement not saved" when the
// run's save failed, whatever its requests did.
std::string notificationTitle(const RunReport& report);
// "2 of 5 measured · 3 not measured · Apple paused requests · source: appstore": counts in plain
// decimal with no plural forms; the pause only for a halt. A run whose save failed tells only that:
// "Nothing of this run was saved · " and the store's words.
std::string notificationBody(const RunReport& report);
// Title and body, with an identifier of the run's end so a repeated post replaces rather than stacks.
NotificationContent notificationFor(const RunReport& report);

}  // namespace tovra::measure
