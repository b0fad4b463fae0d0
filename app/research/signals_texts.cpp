#include "app/research/signals_texts.h"

#include <fmt/format.h>

#include "app/research/research_texts.h"

namespace tovra::research {
namespace {

constexpr std::string_view kJoin = " · ";
constexpr std::string_view kUnknown = "—";

}  // namespace

std::string difficultyLine(const std::optional<KeywordDifficulty>& difficulty) {
  if (!difficulty) {
    return std::string(kUnknown);
  }
  return fmt::format("{}{}{}{}{} of {} counts known", bandName(difficulty->band), kJoin, difficultyCaption(*difficulty),
                     kJoin, difficulty->knownCount, difficulty->sampled);
}

std::string reachLine(const AutocompleteReach& reach) {
  using Band = AutocompleteReach::Band;
  const auto band = std::string(bandName(reach.band));
  switch (reach.band) {
    case Band::strong:
    case Band::moderate:
      return fmt::format("{}{}listed at {} of {} letters{}position {}", band, kJoin, reach.letters.value_or(0),
                         reach.keywordLength, kJoin, reach.position.value_or(0));
    case Band::none:
      return band + std::string(kJoin) + "not listed even for the full keyword";
    case Band::notAsked:
      break;
  }
  return band;
}

std::string signalsProgress(std::string_view keyword, std::string_view country,
                            const std::vector<SignalsCheck::ProbeStep>& steps) {
  if (steps.empty()) {
    return fmt::format("reading the top {} of the store's search for {}…", kDifficultySample,
                       termInCountry(keyword, country));
  }
  const auto& step = steps.back();
  return fmt::format("hint probe {} of at most {}{}“{}”{}{}", steps.size(), kMaxProbes, kJoin, step.prefix, kJoin,
                     probeStepText(step));
}

std::string probeStepText(const SignalsCheck::ProbeStep& step) {
  auto text = step.position ? fmt::format("listed at position {}", *step.position) : std::string("not listed");
  if (step.servedFromStore) {
    text += std::string(kJoin) + "from today's stored probe";
  }
  return text;
}

std::string probesLine(const SignalsCheck::Summary& summary) {
  return fmt::format("{} hint probe{} asked{}{}", summary.probesAsked, summary.probesAsked == 1 ? "" : "s", kJoin,
                     summary.converged ? "the shortest listing prefix is settled" : "not settled");
}

std::vector<std::string> signalsProblems(const SignalsCheck::Summary& summary,
                                         const std::optional<std::string>& saveFailure) {
  std::vector<std::string> problems;
  if (summary.failed > 0) {
    problems.push_back(fmt::format("{} request{} failed{}{}", summary.failed, summary.failed == 1 ? "" : "s", kJoin,
                                   summary.lastFailure.value_or("")));
  }
  // A refusal met before any request failed (a hold already counting down) is told in its own words.
  if (summary.halted && summary.lastFailure && summary.failed == 0) {
    problems.push_back(*summary.lastFailure);
  }
  if (saveFailure) {
    problems.push_back(*saveFailure);
  }
  return problems;
}

}  // namespace tovra::research
