#include "app/cli/research_cli.h"

#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/cli/watchlist_json.h"
#include "app/store/dates.h"

namespace tovra::cli {
research::RequestGate requestGate(Context& context) {
  return context.services().requestGate();
}

std::function<void()> holdOnRefusal(Context& context) {
  return [&context] { context.services().holdAfterRefusal(); };
}

nlohmann::json toJson(const std::optional<research::KeywordDifficulty>& difficulty) {
  if (!difficulty) {
    return nullptr;
  }
  return {{"medianRatings", difficulty->medianRatings},
          {"knownCount", difficulty->knownCount},
          {"sampled", difficulty->sampled},
          {"z", difficulty->z},
          {"band", research::bandRaw(difficulty->band)}};
}

nlohmann::json toJson(const research::AutocompleteReach& reach) {
  return {{"band", research::bandRaw(reach.band)},
          {"letters", orNull(reach.letters)},
          {"position", orNull(reach.position)},
          {"keywordLength", reach.keywordLength},
          {"asOf", isoOrNull(reach.asOf)}};
}

nlohmann::json toJson(const research::KeywordSignals& signals) {
  return {{"keyword", signals.keyword},
          {"country", signals.country},
          {"difficulty", toJson(signals.difficulty)},
          {"difficultyAsOf", isoOrNull(signals.difficultyAsOf)},
          {"difficultySource", orNull(signals.difficultySource)},
          {"reach", toJson(signals.reach)}};
}

nlohmann::json toJson(const research::SignalsCheck::Summary& summary) {
  return {{"ladderFetched", summary.ladderFetched},
          {"probesAsked", summary.probesAsked},
          {"failed", summary.failed},
          {"halted", summary.halted},
          {"lastFailure", orNull(summary.lastFailure)},
          {"converged", summary.converged}};
}

nlohmann::json toJson(const research::SignalsCheck::ProbeStep& step) {
  return {{"prefix", step.prefix},
          {"letters", step.letters},
          {"position", orNull(step.position)},
          {"servedFromStore", step.servedFromStore},
          {"observedAt", store::isoUtc(step.observedAt)}};
}

}  // namespace tovra::cli
