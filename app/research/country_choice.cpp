#include "app/research/country_choice.h"

#include <unicode/locid.h>

#include <algorithm>
#include <cctype>

#include "AsoKit/storefront.h"
#include "app/base/nearest_names.h"
#include "app/base/text_fold.h"
#include "app/research/country_name.h"

namespace tovra::research {
namespace {

// "uk" is reserved for Britain outside the ISO list, and it is the code people type for it.
constexpr std::pair<std::string_view, std::string_view> kCommonMistakes[] = {{"uk", "gb"}};
constexpr std::size_t kMostSuggestions = 3;

std::string iso3Of(std::string_view code) {
  std::string region(code);
  std::transform(region.begin(), region.end(), region.begin(), [](unsigned char c) { return std::toupper(c); });
  std::string iso3 = icu::Locale("", region.c_str()).getISO3Country();
  std::transform(iso3.begin(), iso3.end(), iso3.begin(), [](unsigned char c) { return std::tolower(c); });
  return iso3;
}

std::string joinedCodes(const std::vector<std::string>& codes) {
  std::string text;
  for (std::size_t i = 0; i < codes.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == codes.size() ? " or " : ", ") + codes[i];
  }
  return text;
}

}  // namespace

std::vector<StorefrontCountry> storefrontCountries() {
  std::vector<StorefrontCountry> countries;
  for (const auto code : asokit::storefront::knownCodes()) {
    countries.push_back({std::string(code), countryDisplayName(code)});
  }
  return countries;
}

bool isStorefrontCountry(std::string_view country) {
  return asokit::storefront::storefrontId(asokit::storefront::normalizeCountry(country)).has_value();
}

std::vector<std::string> nearestCountries(std::string_view country) {
  const auto typed = asokit::storefront::normalizeCountry(country);
  if (typed.empty()) {
    return {};
  }
  const auto& codes = asokit::storefront::knownCodes();
  for (const auto& [mistake, meant] : kCommonMistakes) {
    if (typed == mistake) {
      return {std::string(meant)};
    }
  }
  std::vector<std::string> named;
  const auto folded = base::foldCaseDiacriticsWidth(typed);
  for (const auto code : codes) {
    const auto name = base::foldCaseDiacriticsWidth(countryDisplayName(code));
    const bool namesIt = typed.size() >= 3 && (name == folded || name.starts_with(folded));
    if ((typed.size() == 3 && iso3Of(code) == typed) || namesIt) {
      named.emplace_back(code);
    }
  }
  if (!named.empty()) {
    named.resize(std::min(named.size(), kMostSuggestions));
    return named;
  }
  return base::nearestNames(typed, codes, 1, kMostSuggestions);
}

std::optional<std::string> unknownCountryText(std::string_view country) {
  if (isStorefrontCountry(country)) {
    return std::nullopt;
  }
  const auto near = nearestCountries(country);
  const std::string head = "unknown country '" + std::string(country) + "' — ";
  if (near.empty()) {
    return head + "not one of the 27 App Store countries";
  }
  return head + "did you mean " + joinedCodes(near) + "?";
}

}  // namespace tovra::research
