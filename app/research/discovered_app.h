#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "AsoKit/types.h"
#include "app/store/watchlist_writer.h"

namespace tovra::research {

// An App Store app found by a lookup or a search, not (yet) tracked.
struct DiscoveredApp {
  std::string id;  // App Store ID
  std::string name;
  std::string developer;
  std::optional<std::string> bundleId;
  std::optional<std::string> artworkUrl512;  // the 512-pixel artwork, what a tracked app keeps
  std::string country;                       // the storefront it was found in, trimmed and lower-cased
  std::optional<std::int64_t> position;      // the store's position when found by a search
  std::optional<std::int64_t> ratingCount;
  std::optional<double> averageRating;
  std::optional<std::string> iconUrl;  // the small icon a list of results shows
  std::optional<std::string> version;  // the current version, and when the store released it
  std::optional<asokit::WallTime> versionReleasedAt;
  bool operator==(const DiscoveredApp&) const = default;
};

// A looked-up app: no position.
DiscoveredApp discoveredFromLookup(const asokit::AppInfo& info, std::string_view country);

// A search result, with its position.
DiscoveredApp discoveredFromSearch(const asokit::RankedApp& app, std::string_view country);

// What tracking the app keeps of it.
store::AppFacts trackedFacts(const DiscoveredApp& app);

}  // namespace tovra::research
