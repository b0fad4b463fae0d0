#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "AsoKit/aso_client.h"
#include "AsoKit/clock.h"

namespace tovra::research {

namespace waitText {
inline constexpr std::string_view kMeasurementRunning = "A measurement is running — store hints wait for it.";
inline constexpr std::string_view kApplePaused = "Apple paused requests";
inline constexpr std::string_view kSaveFailedPrefix = "the results could not be saved: ";
}  // namespace waitText

// How long every Tovra process of the user waits after the store refused a request (HTTP 403).
inline constexpr std::chrono::seconds kRefusalHold{900};

// "1:15" for 75 seconds: whole minutes, uncapped (900 → "15:00"), then two-digit seconds.
std::string countdown(std::int64_t seconds);
// "Apple paused requests · retry in 1:15"
std::string cooldownShort(std::int64_t seconds);
// What a search that found nothing reads as, wherever a count of results would stand.
inline constexpr std::string_view kNoResults = "No results — the App Store returned nothing for this term";
// "Not among the 40 results the store returned for this phrase"; "result" only for exactly 1; kNoResults
// for none, never a count of 0.
std::string notFound(std::int64_t resultCount);

// "the results could not be saved: " and the store's own words.
std::string saveFailedText(std::string_view message);

// What the research tools must know before they ask the store: whether a measurement run is going on
// (in any Tovra process) and how long the store's hold has left. Each is asked when it matters, never
// cached, since a run or a hold can start between two probes.
class RequestGate final {
 public:
  using RunningFn = std::function<bool()>;
  using CooldownFn = std::function<std::optional<std::int64_t>()>;

  RequestGate() = default;
  RequestGate(RunningFn measurementRunning, CooldownFn cooldownSecondsLeft)
      : running_(std::move(measurementRunning)), cooldown_(std::move(cooldownSecondsLeft)) {}

  bool measurementRunning() const { return running_ && running_(); }
  std::optional<std::int64_t> cooldownSecondsLeft() const;

  // Why hints and signals may not ask the store now (a run, then a hold); none when they may.
  std::optional<std::string> hintsWaitReason() const;

 private:
  RunningFn running_;
  CooldownFn cooldown_;
};

// Whether a failed request means the store refused the client: HTTP 403 after the fetch's own retries,
// the hold that an earlier refusal started, or the failure guard's halt. A refusal stops the flow at once
// and holds every later request as long as a halted run does; a command it ends exits as refused.
bool isRefusal(const std::exception& error);

// Starts the hold after a refusal, unless one is already counting down (a refusal met during a hold must
// not push its end further out).
void holdAfterRefusal(asokit::AsoClient& client, asokit::WallTime now);

}  // namespace tovra::research
