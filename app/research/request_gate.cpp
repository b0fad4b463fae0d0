#include "app/research/request_gate.h"

#include <fmt/format.h>

#include <algorithm>

#include "AsoKit/aso_error.h"

namespace tovra::research {

std::string countdown(std::int64_t seconds) {
  const auto whole = std::max<std::int64_t>(seconds, 0);
  return fmt::format("{:d}:{:02d}", whole / 60, whole % 60);
}

std::string cooldownShort(std::int64_t seconds) {
  return std::string(waitText::kApplePaused) + " · retry in " + countdown(seconds);
}

std::string notFound(std::int64_t resultCount) {
  if (resultCount == 0) {
    return std::string(kNoResults);
  }
  return fmt::format("Not among the {} result{} the store returned for this phrase", resultCount,
                     resultCount == 1 ? "" : "s");
}

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
    return cooldownShort(*left);
  }
  return std::nullopt;
}

bool isRefusal(const std::exception& error) {
  if (asokit::isStoreRefusal(error)) {
    return true;
  }
  const auto* aso = dynamic_cast<const asokit::AsoError*>(&error);
  return aso && aso->as<asokit::AsoError::HaltedAfterConsecutiveFailures>();
}

void holdAfterRefusal(asokit::AsoClient& client, asokit::WallTime now) {
  if (!client.cooldownSecondsLeft(now)) {
    client.hold(now + kRefusalHold);
  }
}

}  // namespace tovra::research
