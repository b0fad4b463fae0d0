#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The headlines over research answers, decided once so that every front end names a term the same way.
namespace tovra::research {

// "“photo editor” in US": the term as given, its storefront in upper case.
std::string termInCountry(std::string_view term, std::string_view country);
// "“photo editor” in US · 25 results"; "result" only for exactly 1; none found reads "“qzxv” in US · No
// results — the App Store returned nothing for this term".
std::string resultsHeadline(std::string_view term, std::string_view country, std::int64_t resultCount);
// The results headline, then " · store's position · no score added": discovery keeps the store's order.
// With no results, only the term in its storefront: the discover status line says what came back.
std::string discoverHeadline(std::string_view term, std::string_view country, std::int64_t resultCount);
// "Store hints for “pho” in US · 3 hints"; "hint" only for exactly 1.
std::string hintsHeadline(std::string_view prefix, std::string_view country, std::int64_t hintCount);
// "Lumen Photo for “photo editor” in US"
std::string checkHeadline(std::string_view appName, std::string_view keyword, std::string_view country);

}  // namespace tovra::research
