// Finders of the watchlist's kinds: apps, their localizations, research spaces and keywords.

#include "app/store/repositories.h"
#include "app/store/sql.h"

namespace tovra::store {

std::optional<TrackedApp> Apps::findByAppStoreId(std::string_view appStoreId) const {
  return selectOne("WHERE appStoreId = ?", [&](SQLite::Statement& s) { s.bind(1, std::string(appStoreId)); });
}

std::vector<AppLocalization> Localizations::ofApp(RecordId<TrackedApp> app) const {
  return select("WHERE app = ? ORDER BY country, pk", [&](SQLite::Statement& s) { s.bind(1, app.value); });
}

std::optional<ResearchSpace> Spaces::findById(std::string_view id) const {
  return selectOne("WHERE id = ?", [&](SQLite::Statement& s) { s.bind(1, std::string(id)); });
}

std::vector<TrackedQuery> Queries::ofApp(RecordId<TrackedApp> app) const {
  return select("WHERE app = ? ORDER BY keyword, country, pk", [&](SQLite::Statement& s) { s.bind(1, app.value); });
}

std::vector<TrackedQuery> Queries::ofSpace(RecordId<ResearchSpace> space) const {
  return select("WHERE space = ? ORDER BY keyword, country, pk", [&](SQLite::Statement& s) { s.bind(1, space.value); });
}

std::vector<TrackedQuery> Queries::measurable() const {
  return select("WHERE app IS NOT NULL AND isPaused = 0 ORDER BY addedAt, pk", [](SQLite::Statement&) {});
}

}  // namespace tovra::store
