#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/clock.h"
#include "AsoKit/types.h"
#include "app/research/autocomplete_reach.h"
#include "app/research/keyword_difficulty.h"

namespace tovra::store {
class Store;
struct SavedLadder;
}  // namespace tovra::store

namespace tovra::research {

// The two signals shown for a keyword in a country, both read from the store's own answers and never
// mixed into a rank. No search volume: none is published, so none is invented.
struct KeywordSignals {
  std::string keyword;
  std::string country;
  std::optional<KeywordDifficulty> difficulty;
  std::optional<asokit::WallTime> difficultyAsOf;
  std::optional<std::string> difficultySource;
  AutocompleteReach reach;
  bool operator==(const KeywordSignals&) const = default;
};

// Where a difficulty came from: "top 10 of the store's search · saved search from discover".
std::string difficultySourceText(std::int64_t sampled, std::string_view ladderSource);

// Difficulty from a search's apps in store order.
std::optional<KeywordDifficulty> difficultyOf(const std::vector<asokit::RankedApp>& apps);
// Difficulty from a saved search's entries in rank order.
std::optional<KeywordDifficulty> difficultyOf(const store::SavedLadder& ladder);

// The signals as the store holds them at `now`: the difficulty of the newest saved search of the keyword
// and country while it is at most seven days old, and the reach read from the newest stored probe of
// each candidate prefix. Throws StoreError when the store cannot be read.
KeywordSignals storedSignals(store::Store& store, std::string_view keyword, std::string_view country,
                             asokit::WallTime now);

// The help panel "HOW SIGNALS ARE READ", line by line.
std::vector<std::string> signalsHelp();

namespace signalsText {
inline constexpr std::string_view kHelpTitle = "HOW SIGNALS ARE READ";
inline constexpr std::string_view kUnknown = "“—” means unknown. It is never counted as 0.";
inline constexpr std::string_view kOwnAnswers = "Both come from Apple's own answers. They are never added to a rank.";
}  // namespace signalsText

}  // namespace tovra::research
