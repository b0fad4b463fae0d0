#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tovra::shell {

// What the window title and the tray show of the runner at a glance.
struct RunGlance {
  bool live = false;
  std::int64_t completedRequests = 0;
  std::int64_t plannedRequests = 0;
  std::optional<std::int64_t> cooldownSecondsLeft;
};

inline constexpr std::string_view kIdleSymbol = "laurel.leading";
inline constexpr std::string_view kMeasuringSymbol = "laurel.trailing";
inline constexpr std::string_view kIdleLabel = "Tovra";
inline constexpr std::string_view kMeasuringLabel = "Tovra, measuring";

// The tray's symbol and accessible label: measuring while a run is live.
std::string_view traySymbol(const RunGlance& glance);
std::string_view trayLabel(const RunGlance& glance);
// "request 3 of 12" while live; the cooldown's short form during a hold; none when idle.
std::optional<std::string> runLine(const RunGlance& glance);
// "Tovra", "Tovra · request 3 of 12", "Tovra · Apple paused requests · retry in 14:59".
std::string windowTitle(const RunGlance& glance);

// The getting-started panel's heading and its three steps, in order.
inline constexpr std::string_view kGettingStartedTitle = "Getting started";
inline constexpr std::string_view kGettingStartedSteps[] = {
    "1 · Add an app: yours, or one you watch — by name, App Store link, ID or bundle ID.",
    "2 · Add keywords for it, in each country you care about.",
    "3 · Measure now: Tovra asks the App Store once per keyword and country and keeps one reading a day.",
};
inline constexpr std::string_view kGettingStartedDismiss = "Dismiss";

}  // namespace tovra::shell
