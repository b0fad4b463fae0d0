#include "app/research/keyword_difficulty.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace tovra::research {
namespace {

constexpr double kEasyBelow = 0.33;
constexpr double kMediumBelow = 0.66;

// One decimal, rounded half away from zero; printf's "%.1f" would round 0.25 to even instead.
std::string oneDecimal(double value) {
  const double rounded = std::round(value * 10.0) / 10.0;
  if (rounded == std::floor(rounded)) {
    return fmt::format("{:.0f}", rounded);
  }
  return fmt::format("{:.1f}", rounded);
}

}  // namespace

std::optional<KeywordDifficulty> difficultyFromRatings(const std::vector<std::optional<std::int64_t>>& ratingCounts) {
  const auto sampled = std::min(ratingCounts.size(), kDifficultySample);
  std::vector<std::int64_t> known;
  for (std::size_t i = 0; i < sampled; ++i) {
    if (ratingCounts[i] && *ratingCounts[i] >= 0) {
      known.push_back(*ratingCounts[i]);
    }
  }
  if (known.size() < kDifficultyMinimumKnown) {
    return std::nullopt;
  }
  std::sort(known.begin(), known.end());
  const auto n = known.size();
  const double median = n % 2 == 1 ? static_cast<double>(known[n / 2])
                                   : (static_cast<double>(known[n / 2 - 1]) + static_cast<double>(known[n / 2])) * 0.5;
  // A hundred ratings or fewer is nothing to beat; a hundred thousand or more is as hard as it gets.
  const double z = std::clamp((std::log10(std::max(median, 1.0)) - 2.0) / 3.0, 0.0, 1.0);
  const auto band = z < kEasyBelow     ? KeywordDifficulty::Band::easy
                    : z < kMediumBelow ? KeywordDifficulty::Band::medium
                                       : KeywordDifficulty::Band::hard;
  return KeywordDifficulty{median, static_cast<std::int64_t>(n), static_cast<std::int64_t>(sampled), z, band};
}

std::string_view bandName(KeywordDifficulty::Band band) {
  switch (band) {
    case KeywordDifficulty::Band::easy:
      return "Easy";
    case KeywordDifficulty::Band::medium:
      return "Medium";
    case KeywordDifficulty::Band::hard:
      return "Hard";
  }
  return "Easy";
}

std::string_view bandRaw(KeywordDifficulty::Band band) {
  switch (band) {
    case KeywordDifficulty::Band::easy:
      return "easy";
    case KeywordDifficulty::Band::medium:
      return "medium";
    case KeywordDifficulty::Band::hard:
      return "hard";
  }
  return "easy";
}

std::string ratingCountText(double count) {
  if (count < 1'000) {
    return fmt::format("{:.0f}", std::round(count));
  }
  if (count < 1'000'000) {
    return oneDecimal(count / 1'000.0) + "k";
  }
  return oneDecimal(count / 1'000'000.0) + "M";
}

std::string difficultyCaption(const KeywordDifficulty& difficulty) {
  return "median " + ratingCountText(difficulty.medianRatings) + " rating" +
         (difficulty.medianRatings == 1.0 ? "" : "s");
}

bool isLadderFresh(asokit::WallTime fetchedAt, asokit::WallTime now) {
  return now - fetchedAt <= kLadderFreshness;
}

}  // namespace tovra::research
