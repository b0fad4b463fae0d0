#include "app/research/discovered_app.h"

#include "app/base/keyword_key.h"

namespace tovra::research {

DiscoveredApp discoveredFromLookup(const asokit::AppInfo& info, std::string_view country) {
  return DiscoveredApp{info.id,
                       info.name,
                       info.developer,
                       info.bundleId,
                       info.artworkUrl512,
                       base::normalizedCountry(country),
                       std::nullopt,
                       info.userRatingCount,
                       info.averageUserRating,
                       info.iconURL(),
                       info.version,
                       info.versionReleasedAt};
}

DiscoveredApp discoveredFromSearch(const asokit::RankedApp& app, std::string_view country) {
  return DiscoveredApp{app.id,       app.name,          app.developer,
                       app.bundleId, app.artworkUrl512, base::normalizedCountry(country),
                       app.position, app.ratingCount,   app.averageRating,
                       app.iconURL,  app.version,       app.versionReleasedAt};
}

store::AppFacts trackedFacts(const DiscoveredApp& app) {
  return store::AppFacts{
      app.id, app.name, app.developer, app.bundleId, app.artworkUrl512, app.version, app.versionReleasedAt};
}

}  // namespace tovra::research
