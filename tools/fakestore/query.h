#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tovra::fakestore {

using QueryItems = std::vector<std::pair<std::string, std::string>>;

// Splits a raw query string ("a=1&term=photo%20editor") into items in their order, percent-decoded.
// A "+" stays a "+": a client that sends "+" for a space is caught, not excused. A broken escape
// such as "%G1" is kept as it stands.
QueryItems parseQuery(std::string_view raw);

// The first value of `key`, or none.
std::optional<std::string> queryValue(const QueryItems& items, std::string_view key);

}  // namespace tovra::fakestore
