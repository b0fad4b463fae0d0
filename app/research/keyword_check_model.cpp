#include "app/research/keyword_check_model.h"

#include <fmt/format.h>

#include "AsoKit/aso_error.h"
#include "AsoKit/overloaded.h"
#include "app/research/request_gate.h"

namespace tovra::research {

using asokit::Overloaded;

KeywordCheckModel::KeywordCheckModel(Rank rank, RunActive runActive, CooldownLeft cooldownLeft, Track track,
                                     base::MainQueue& queue)
    : rank_(std::move(rank)),
      runActive_(std::move(runActive)),
      cooldownLeft_(std::move(cooldownLeft)),
      track_(std::move(track)),
      requests_(queue) {}

void KeywordCheckModel::changed() {
  changes_.notify();
}

std::optional<std::string_view> KeywordCheckModel::unavailableReason() const {
  thread_.check();
  if (cooldownLeft_) {
    if (const auto left = cooldownLeft_(); left && *left >= 1) {
      return checkText::kCooldown;
    }
  }
  if (runActive_ && runActive_()) {
    return checkText::kRunActive;
  }
  return std::nullopt;
}

bool KeywordCheckModel::check(const KeywordCheckRequest& request) {
  thread_.check();
  if (unavailableReason()) {
    return false;
  }
  request_ = request;
  phase_ = Checking{};
  changed();
  requests_.start<asokit::BatchOutcome>(
      [this, query = asokit::RankQuery{request.app.appStoreId, request.country, request.keyword}](
          std::stop_token stop) { return rank_({query}, stop); },
      [this](base::Answer<asokit::BatchOutcome> answer) {
        try {
          phase_ = phaseFor(answer.take());
        } catch (const asokit::Cancelled&) {
          phase_ = Stopped{};
        } catch (const std::exception& error) {
          // The batch reports its failures itself; anything else is told with its own words.
          phase_ = Failed{asokit::describe(error)};
        }
        changed();
      });
  return true;
}

bool KeywordCheckModel::canTrack() const {
  // Tracking does not depend on how the check went: a failed or stopped check still names a keyword the
  // user wants measured from now on.
  return request_ && !std::holds_alternative<Checking>(phase_) && !std::holds_alternative<Tracked>(phase_);
}

void KeywordCheckModel::track() {
  thread_.check();
  if (!canTrack()) {
    return;
  }
  track_(*request_);
  phase_ = Tracked{};
  changed();
}

KeywordCheckModel::Phase KeywordCheckModel::phaseFor(const asokit::BatchOutcome& outcome) {
  if (outcome.stopped) {
    return Stopped{};
  }
  if (outcome.results.empty()) {
    if (outcome.halted) {
      return Halted{};
    }
    return Failed{outcome.errors.empty() ? std::string(checkText::kNoResult) : outcome.errors.front()};
  }
  const auto& status = outcome.results.front().status;
  if (const auto* observation = status.observation()) {
    if (observation->rank) {
      return Measured{*observation->rank, observation->resultCount, observation->source};
    }
    return NotInTopN{observation->resultCount, observation->source};
  }
  if (const auto* failure = status.failure()) {
    return Failed{*failure};
  }
  return outcome.halted ? Phase{Halted{}} : Phase{Skipped{}};
}

std::optional<std::string> KeywordCheckModel::text(const Phase& phase) {
  return std::visit(Overloaded{
                        [](const Idle&) -> std::optional<std::string> { return std::nullopt; },
                        [](const Checking&) -> std::optional<std::string> { return std::string(checkText::kChecking); },
                        [](const Measured& m) -> std::optional<std::string> {
                          return fmt::format("Rank {} of the {} result{} the store returned", m.rank, m.depth,
                                             m.depth == 1 ? "" : "s");
                        },
                        [](const NotInTopN& n) -> std::optional<std::string> { return notFound(n.depth); },
                        [](const Failed& f) -> std::optional<std::string> {
                          return std::string(checkText::kFailedPrefix) + f.message;
                        },
                        [](const Skipped&) -> std::optional<std::string> { return std::string(checkText::kSkipped); },
                        [](const Halted&) -> std::optional<std::string> { return std::string(checkText::kHalted); },
                        [](const Stopped&) -> std::optional<std::string> { return std::string(checkText::kStopped); },
                        [](const Tracked&) -> std::optional<std::string> { return std::string(checkText::kTracked); },
                    },
                    phase);
}

std::string_view KeywordCheckModel::phaseName(const Phase& phase) {
  return std::visit(Overloaded{
                        [](const Idle&) { return std::string_view("idle"); },
                        [](const Checking&) { return std::string_view("checking"); },
                        [](const Measured&) { return std::string_view("measured"); },
                        [](const NotInTopN&) { return std::string_view("notInTopN"); },
                        [](const Failed&) { return std::string_view("failed"); },
                        [](const Skipped&) { return std::string_view("skipped"); },
                        [](const Halted&) { return std::string_view("halted"); },
                        [](const Stopped&) { return std::string_view("stopped"); },
                        [](const Tracked&) { return std::string_view("tracked"); },
                    },
                    phase);
}

}  // namespace tovra::research
