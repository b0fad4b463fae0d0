#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "AsoKit/types.h"

namespace tovra::research {

// An App Store app found by a lookup or a search, not (yet) tracked.
struct DiscoveredApp {
  std::string id;  // App Store ID
  std::string name;
  std::string developer;
  std::optional<std::string> bundleId;
  std::optional<std::string> artworkUrl512;
  std::string country;                   // the storefront it was found in, trimmed and lower-cased
  std::optional<std::int64_t> position;  // the store's position when found by a search
  std::optional<std::int64_t> ratingCount;
  std::optional<double> averageRating;
  bool operator==(const DiscoveredApp&) const = default;
};

// A looked-up app: no position, the 512-pixel artwork as the lookup gave it.
DiscoveredApp discoveredFromLookup(const asokit::AppInfo& info, std::string_view country);

// A search result: its position, and the icon address the search answered with in place of the
// 512-pixel artwork (a search carries only the rewritten icon).
DiscoveredApp discoveredFromSearch(const asokit::RankedApp& app, std::string_view country);

}  // namespace tovra::research
