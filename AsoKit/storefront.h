#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace asokit::storefront {

// Trims white space and line breaks from both ends and lower-cases ASCII letters: the form in which
// countries are compared, grouped and stored.
std::string normalizeCountry(std::string_view country);

// The X-Apple-Store-Front value for a country ("143441,29" for us). Throws AsoError::unknownStorefront
// carrying the country exactly as passed in; there is no fallback to another storefront.
std::string headerValue(std::string_view country);

// The storefront id for a normalised code, or none.
std::optional<std::string_view> storefrontId(std::string_view normalizedCode);

// The code a storefront id stands for ("143441" → "us"), or none: how the fake store reads the header.
std::optional<std::string_view> countryOfId(std::string_view storefrontId);

// The 27 known codes in the table's own order.
const std::vector<std::string_view>& knownCodes();

}  // namespace asokit::storefront
