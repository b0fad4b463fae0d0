#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tovra::fakestore {

// The fake store keeps its own copy of the storefront table, so a wrong entry in the client's table
// shows up as a wrong country here instead of being agreed with.

// The country a store-front header names ("143441,29" → "us"; anything after the first comma or
// blank is ignored), or none for an unknown storefront.
std::optional<std::string> countryOfStorefront(std::string_view header);

// The numeric storefront id of a lower-case country code, or none.
std::optional<std::string> storefrontOfCountry(std::string_view country);

}  // namespace tovra::fakestore
