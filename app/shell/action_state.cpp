#include "app/shell/action_state.h"

#include "app/measure/measure_texts.h"

namespace tovra::shell {

std::optional<std::string> measureNowBlocked(const MeasureGate& gate) {
  if (gate.live) {
    return std::string(kRunLive);
  }
  if (gate.cooldownSecondsLeft && *gate.cooldownSecondsLeft > 0) {
    return measure::texts::cooldownShort(*gate.cooldownSecondsLeft);
  }
  if (gate.runningElsewhere) {
    return std::string(kRunningElsewhere);
  }
  if (!gate.hasMeasurableKeywords) {
    return std::string(kNothingToMeasure);
  }
  return std::nullopt;
}

std::optional<std::string_view> linkFor(TovraActionID id) {
  switch (id) {
    case TovraActionID::support:
      return "https://tovra.app/support";
    case TovraActionID::privacyPolicy:
      return "https://tovra.app/privacy";
    case TovraActionID::termsOfUse:
      return "https://tovra.app/terms";
    case TovraActionID::sendFeedback:
      return "mailto:feedback@tovra.app?subject=Tovra%20feedback";
    default:
      return std::nullopt;
  }
}

}  // namespace tovra::shell
