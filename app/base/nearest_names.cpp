#include "app/base/nearest_names.h"

#include <algorithm>

namespace tovra::base {

std::size_t editDistance(std::string_view a, std::string_view b) {
  // Optimal string alignment: "serach" is one swap from "search", not two replacements.
  std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1, 0));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    d[i][0] = i;
  }
  for (std::size_t j = 0; j <= b.size(); ++j) {
    d[0][j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + cost});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
      }
    }
  }
  return d[a.size()][b.size()];
}

std::vector<std::string> nearestNames(std::string_view input, const std::vector<std::string_view>& candidates,
                                      std::size_t maxDistance, std::size_t limit) {
  struct Scored {
    std::size_t distance;
    std::size_t order;
    std::string_view name;
  };
  std::vector<Scored> scored;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    const auto name = candidates[i];
    auto distance = editDistance(input, name);
    // A name cut short ("disc") is as near as a one-letter slip, however many letters are missing.
    if (!input.empty() && input.size() < name.size() && name.starts_with(input)) {
      distance = std::min<std::size_t>(distance, 1);
    }
    if (distance <= maxDistance && distance < std::max(input.size(), name.size())) {
      scored.push_back({distance, i, name});
    }
  }
  std::stable_sort(scored.begin(), scored.end(),
                   [](const Scored& a, const Scored& b) { return a.distance < b.distance; });
  std::vector<std::string> names;
  for (const auto& s : scored) {
    if (names.size() == limit) {
      break;
    }
    names.emplace_back(s.name);
  }
  return names;
}

}  // namespace tovra::base
