#include "app/research/keyword_signals.h"

#include <fmt/format.h>

#include "app/base/keyword_key.h"
#include "app/store/hint_probe_store.h"
#include "app/store/ladder_writer.h"
#include "app/store/store.h"

namespace tovra::research {

std::string difficultySourceText(std::int64_t sampled, std::string_view ladderSource) {
  return fmt::format("top {} of the store's search · saved search from {}", sampled, ladderSource);
}

std::optional<KeywordDifficulty> difficultyOf(const std::vector<asokit::RankedApp>& apps) {
  std::vector<std::optional<std::int64_t>> counts;
  counts.reserve(apps.size());
  for (const auto& app : apps) {
    counts.push_back(app.ratingCount);
  }
  return difficultyFromRatings(counts);
}

std::optional<KeywordDifficulty> difficultyOf(const store::SavedLadder& ladder) {
  std::vector<std::optional<std::int64_t>> counts;
  counts.reserve(ladder.entries.size());
  for (const auto& entry : ladder.entries) {
    counts.push_back(entry.ratingCount);
  }
  return difficultyFromRatings(counts);
}

KeywordSignals storedSignals(store::Store& store, std::string_view keyword, std::string_view country,
                             asokit::WallTime now) {
  KeywordSignals signals;
  signals.keyword = base::collapseWhitespace(keyword);
  signals.country = base::normalizedCountry(country);

  const auto ladders = store::LadderWriter(store).savedFor(keyword, country);
  if (!ladders.empty() && isLadderFresh(ladders.front().fetchedAt, now)) {
    const store::SavedLadder newest{ladders.front(), store.ladderEntries().ofLadder(ladders.front().rowId)};
    signals.difficulty = difficultyOf(newest);
    if (signals.difficulty) {
      signals.difficultyAsOf = newest.ladder.fetchedAt;
      signals.difficultySource = difficultySourceText(signals.difficulty->sampled, newest.ladder.source);
    }
  }

  PrefixPlanner planner(keyword);
  const store::HintProbeStore probes(store);
  for (const auto length : planner.candidates()) {
    if (const auto saved = probes.newest(planner.prefix(length), country)) {
      planner.observe(length, HintSnapshot::from(store::outcomeOf(*saved), saved->probe.observedAt));
    }
  }
  signals.reach = planner.reach();
  return signals;
}

std::vector<std::string> signalsHelp() {
  return {
      std::string(signalsText::kHelpTitle),
      fmt::format("Difficulty: the median rating count of the top {} apps for this keyword. Under about 1k is Easy, "
                  "under about 10k is Medium, more is Hard. Needs counts for {} of the {}.",
                  kDifficultySample, kDifficultyMinimumKnown, kDifficultySample),
      fmt::format("Autocomplete reach: how few letters it takes before App Store search lists the whole keyword, "
                  "and where. Strong is within half the letters and in the top {}; Moderate is listed later; None is "
                  "not listed even for the full keyword. A prefix not asked yet is never None.",
                  kStrongReachPosition),
      std::string(signalsText::kUnknown),
      std::string(signalsText::kOwnAnswers),
  };
}

}  // namespace tovra::research
