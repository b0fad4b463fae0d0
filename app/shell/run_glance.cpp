#include "app/shell/run_glance.h"

#include "app/measure/measure_texts.h"

namespace tovra::shell {

std::string_view traySymbol(const RunGlance& glance) {
  return glance.live ? kMeasuringSymbol : kIdleSymbol;
}

std::string_view trayLabel(const RunGlance& glance) {
  return glance.live ? kMeasuringLabel : kIdleLabel;
}

std::optional<std::string> runLine(const RunGlance& glance) {
  if (glance.live) {
    return "request " + std::to_string(glance.completedRequests) + " of " + std::to_string(glance.plannedRequests);
  }
  if (glance.cooldownSecondsLeft && *glance.cooldownSecondsLeft > 0) {
    return measure::texts::cooldownShort(*glance.cooldownSecondsLeft);
  }
  return std::nullopt;
}

std::string windowTitle(const RunGlance& glance) {
  std::string title(kIdleLabel);
  if (const auto line = runLine(glance)) {
    title += measure::texts::kJoin;
    title += *line;
  }
  return title;
}

}  // namespace tovra::shell
