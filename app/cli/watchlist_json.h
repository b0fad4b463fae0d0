#pragma once

#include <nlohmann/json.hpp>
#include <optional>

#include "app/store/deletion_plan.h"
#include "app/store/records.h"

namespace tovra::store {
class Store;
}

// The JSON forms of the watchlist's records under their own field names; dates as ISO 8601 UTC texts,
// an absent optional as null. Relationships name the related record as the user names it, never by the
// store's row.
namespace tovra::cli {

// With its `localizations` and `queries`.
nlohmann::json toJson(store::Store& store, const store::TrackedApp& app);
nlohmann::json toJson(const store::AppLocalization& localization);
nlohmann::json toJson(const store::ResearchSpace& space);
// The keyword with its owner named as the user names it: `app` the App Store id, `space` the space id.
nlohmann::json toJson(store::Store& store, const store::TrackedQuery& query);
// The subject, the confirmation's texts, the count of each list and the kept counts.
nlohmann::json toJson(const store::DeletionPlan& plan, bool deleted);
nlohmann::json isoOrNull(const std::optional<store::WallTime>& time);
template <class T>
nlohmann::json orNull(const std::optional<T>& value) {
  return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}

}  // namespace tovra::cli
