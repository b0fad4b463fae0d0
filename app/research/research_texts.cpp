#include "app/research/research_texts.h"

#include <fmt/format.h>

#include "app/base/keyword_key.h"
#include "app/research/discover_model.h"

namespace tovra::research {

std::string termInCountry(std::string_view term, std::string_view country) {
  return fmt::format("“{}” in {}", term, base::upperCountry(country));
}

std::string resultsHeadline(std::string_view term, std::string_view country, std::int64_t resultCount) {
  if (resultCount == 0) {
    return fmt::format("{} · {}", termInCountry(term, country), kNoResults);
  }
  return fmt::format("{} · {} {}", termInCountry(term, country), resultCount, resultCount == 1 ? "result" : "results");
}

std::string discoverHeadline(std::string_view term, std::string_view country, std::int64_t resultCount) {
  // With nothing found there is no order to vouch for, and the status line already says so.
  if (resultCount == 0) {
    return termInCountry(term, country);
  }
  return fmt::format("{} · {}", resultsHeadline(term, country, resultCount), discoverText::kStorePosition);
}

std::string hintsHeadline(std::string_view prefix, std::string_view country, std::int64_t hintCount) {
  return fmt::format("Store hints for {} · {} {}", termInCountry(prefix, country), hintCount,
                     hintCount == 1 ? "hint" : "hints");
}

std::string checkHeadline(std::string_view appName, std::string_view keyword, std::string_view country) {
  return fmt::format("{} for {}", appName, termInCountry(keyword, country));
}

}  // namespace tovra::research
