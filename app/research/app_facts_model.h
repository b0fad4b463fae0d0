#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/aso_client.h"
#include "AsoKit/clock.h"
#include "AsoKit/types.h"
#include "app/base/observable.h"
#include "app/base/off_main.h"
#include "app/base/thread_affinity.h"
#include "app/store/local_time.h"

namespace tovra::store {
class Store;
}

namespace tovra::research {

namespace factsText {
inline constexpr std::string_view kFromSavedSearch = "From the saved search. Look it up for its current version.";
inline constexpr std::string_view kLookingUp = "Looking the app up in the store…";
inline constexpr std::string_view kNotInStore = "The store has no app with this id in this country.";
inline constexpr std::string_view kLookUp = "Look up";
}  // namespace factsText

// One app's lookup: the store's answers for an id in a country.
using FactsLookup = std::function<std::vector<asokit::AppInfo>(const std::string& appStoreId,
                                                               const std::string& country, std::stop_token)>;
FactsLookup clientFactsLookup(asokit::AsoClient& client);

// Looks one app up off the main thread and keeps the release it shows when Tovra tracks the app. Main
// thread only; every change goes to its subscribers. A newer look-up supersedes the one under way.
class AppFactsModel final {
 public:
  enum class State { idle, lookingUp, found, notInStore, failed };

  AppFactsModel(FactsLookup lookup, store::Store& store, const asokit::WallClock& clock, base::MainQueue& queue);

  const base::Observable<>& changes() const { return changes_; }
  // Called when the store refuses the client (HTTP 403 after retries), so that the caller starts the hold.
  void setOnForbidden(std::function<void()> onForbidden);

  void lookUp(std::string appStoreId, std::string country);
  // Back to idle for another app; a look-up under way is dropped.
  void reset();

  State state() const { return state_; }
  const std::string& appStoreId() const { return appStoreId_; }
  const std::optional<asokit::AppInfo>& facts() const { return facts_; }
  // The state in the core's words: the saved-search note, looking up, not in the store, or the failure.
  std::string statusLine() const;
  // What the lookup said, a line each: name and developer, bundle id, version with its release day,
  // ratings. Empty before an answer.
  std::vector<std::string> factLines(const store::LocalTimeFormat& localTime) const;

 private:
  void finish(std::string id, base::Answer<std::vector<asokit::AppInfo>> answer);

  base::ThreadAffinity thread_;
  FactsLookup lookup_;
  store::Store* store_;
  const asokit::WallClock* clock_;
  base::Observable<> changes_;
  std::function<void()> onForbidden_;
  State state_ = State::idle;
  std::string appStoreId_;
  std::optional<asokit::AppInfo> facts_;
  std::optional<std::string> failure_;
  base::OffMainRequests requests_;  // last: it stops its worker before the rest goes
};

}  // namespace tovra::research
