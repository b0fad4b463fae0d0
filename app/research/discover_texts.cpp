#include "app/research/discover_texts.h"

#include <fmt/format.h>

#include <cmath>

#include "app/base/keyword_key.h"
#include "app/research/keyword_difficulty.h"
#include "app/research/research_texts.h"

namespace tovra::research {

namespace {
constexpr std::string_view kEmDash = "—";
}  // namespace

std::string ratingCountLabel(const std::optional<std::int64_t>& ratingCount) {
  // A negative count is no count the store could mean; it reads as unknown like a missing one.
  const auto count =
      ratingCount && *ratingCount >= 0 ? ratingCountText(static_cast<double>(*ratingCount)) : std::string(kEmDash);
  return fmt::format("{} {}", count, ratingCount && *ratingCount == 1 ? "rating" : "ratings");
}

std::string averageLabel(const std::optional<double>& averageRating) {
  const auto average =
      averageRating ? fmt::format("{:.1f}", std::round(*averageRating * 10.0) / 10.0) : std::string(kEmDash);
  return "average " + average;
}

std::string ratingLine(const std::optional<std::int64_t>& ratingCount, const std::optional<double>& averageRating) {
  return ratingCountLabel(ratingCount) + " · " + averageLabel(averageRating);
}

std::string positionText(const std::optional<std::int64_t>& position) {
  return position ? fmt::format("#{}", *position) : std::string(kEmDash);
}

std::string foundForText(std::string_view term) {
  return fmt::format("Found for “{}”", term);
}

std::string hintTrailText(const std::vector<std::pair<std::string, std::string>>& steps) {
  if (steps.empty()) {
    return {};
  }
  std::string text = "Asked: ";
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (i > 0) {
      text += " → ";
    }
    text += termInCountry(steps[i].first, steps[i].second);
  }
  return text;
}

std::string probeTrailLine(std::string_view prefix, std::int64_t letters, std::string_view stepText) {
  return fmt::format("“{}” · {} {} · {}", prefix, letters, letters == 1 ? "letter" : "letters", stepText);
}

}  // namespace tovra::research
