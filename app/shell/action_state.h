#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "app/shell/tovra_action.h"

namespace tovra::shell {

inline constexpr std::string_view kRunLive = "A measurement is running.";
inline constexpr std::string_view kRunningElsewhere = "A measurement is already running in another Tovra process.";
inline constexpr std::string_view kNothingToMeasure =
    "Nothing to measure: no tracked app has a keyword that is not paused.";

// What decides whether a run can start now.
struct MeasureGate {
  bool live = false;
  std::optional<std::int64_t> cooldownSecondsLeft;
  bool runningElsewhere = false;
  bool hasMeasurableKeywords = false;
};

// Why Measure now cannot run, in the order the user can do something about it: a live run first, then
// a hold with its countdown, another process's run, nothing to measure. None when it can run.
std::optional<std::string> measureNowBlocked(const MeasureGate& gate);

// The page or mail draft behind the support, privacy, terms and feedback actions; none for the others.
std::optional<std::string_view> linkFor(TovraActionID id);

}  // namespace tovra::shell
