#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Which storefront a typed country means, and the words for one that is none of them. A country outside
// the table would give no results, or another country's, so it is refused before anything is asked.
namespace tovra::research {

struct StorefrontCountry {
  std::string code;  // lower case, as stored
  std::string name;  // in English ("United Kingdom")
};

// The 27 storefronts in the table's own order, with their names.
std::vector<StorefrontCountry> storefrontCountries();

// Whether `country`, trimmed and lower-cased, is one of the 27.
bool isStorefrontCountry(std::string_view country);

// The codes a country that is not a storefront most likely meant, at most three: the code a common
// mistake stands for ("uk" is gb), the code of a three-letter ISO code ("usa") or of a country's name
// ("germany"), else the codes one letter away ("fx": fr, mx, fi).
std::vector<std::string> nearestCountries(std::string_view country);

// "unknown country 'uk' — did you mean gb?", or "unknown country 'zz' — not one of the 27 App Store
// countries" when nothing is near; none for a storefront country.
std::optional<std::string> unknownCountryText(std::string_view country);

}  // namespace tovra::research
