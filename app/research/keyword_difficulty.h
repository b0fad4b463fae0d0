#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/clock.h"

namespace tovra::research {

// How many top results difficulty reads, and how many of them need a known rating count.
inline constexpr std::size_t kDifficultySample = 10;
inline constexpr std::size_t kDifficultyMinimumKnown = 6;
// A saved search older than this no longer speaks for the keyword (exactly seven days still does).
inline constexpr std::chrono::seconds kLadderFreshness{604'800};

// How hard a keyword is, read from the rating counts of the apps at the top of its search results.
struct KeywordDifficulty {
  enum class Band { easy, medium, hard };

  double medianRatings = 0;
  std::int64_t knownCount = 0;
  std::int64_t sampled = 0;
  double z = 0;  // in [0, 1]
  Band band = Band::easy;
  bool operator==(const KeywordDifficulty&) const = default;
};

// From the rating counts of a result's apps in store order (absent where unknown). None when fewer than
// six of the first ten are known; negative counts count as unknown.
std::optional<KeywordDifficulty> difficultyFromRatings(const std::vector<std::optional<std::int64_t>>& ratingCounts);

// "Easy", "Medium", "Hard".
std::string_view bandName(KeywordDifficulty::Band band);
// "easy", "medium", "hard": the case names, for machine output.
std::string_view bandRaw(KeywordDifficulty::Band band);

// A rating count as the difficulty caption prints it: 950, 1.5k, 12k, 2.3M. One decimal at most, rounded
// half away from zero, and none when it is .0.
std::string ratingCountText(double count);
// "median 1.5k ratings"; "median 1 rating" only for a median of exactly 1.
std::string difficultyCaption(const KeywordDifficulty& difficulty);

// Whether a saved search fetched at `fetchedAt` may still give the keyword's difficulty at `now`.
bool isLadderFresh(asokit::WallTime fetchedAt, asokit::WallTime now);

}  // namespace tovra::research
