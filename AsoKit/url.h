#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace asokit {

using QueryItems = std::vector<std::pair<std::string, std::string>>;

// Percent-encodes a query value as a platform URL builder does: UTF-8 bytes, a space as %20, and every
// character that would end or alter a query item (& = # % + and line breaks) encoded.
std::string percentEncodeQueryValue(std::string_view value);

// base ("https://host[:port]") + path + "?" + the items in the given order.
std::string buildUrl(std::string_view base, std::string_view path, const QueryItems& items);

// Where the three store endpoints live: scheme and host, without a trailing slash. Defaults are the real
// hosts; the fake store stands in for them in tests and the demo.
struct Endpoints {
  std::string search = "https://search.itunes.apple.com";
  std::string lookup = "https://itunes.apple.com";
};

}  // namespace asokit
