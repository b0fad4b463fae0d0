#include "app/research/request_gate.h"

#include "AsoKit/aso_error.h"
#include "app/measure/measure_texts.h"
#include "app/measure/measurement_runner.h"

namespace tovra::research {

std::string saveFailedText(std::string_view message) {
  return std::string(waitText::kSaveFailedPrefix) + std::string(message);
}

std::optional<std::int64_t> RequestGate::cooldownSecondsLeft() const {
  if (!cooldown_) {
    return std::nullopt;
  }
  const auto left = cooldown_();
  if (left && *left < 1) {
    return std::nullopt;
  }
  return left;
}

std::optional<std::string> RequestGate::hintsWaitReason() const {
  if (measurementRunning()) {
    return std::string(waitText::kMeasurementRunning);
  }
  if (const auto left = cooldownSecondsLeft()) {
    return measure::texts::cooldownShort(*left);
  }
  return std::nullopt;
}

bool isRefusal(const std::exception& error) {
  const auto* aso = dynamic_cast<const asokit::AsoError*>(&error);
  if (!aso) {
    return false;
  }
  if (const auto* http = aso->as<asokit::AsoError::Http>()) {
    return http->status == 403;
  }
  return aso->as<asokit::AsoError::CoolingDown>() || aso->as<asokit::AsoError::HaltedAfterConsecutiveFailures>();
}

void holdAfterRefusal(asokit::AsoClient& client, asokit::WallTime now) {
  if (!client.cooldownSecondsLeft(now)) {
    client.hold(now + measure::MeasurementRunner::kCooldown);
  }
}

}  // namespace tovra::research
