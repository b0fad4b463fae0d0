#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/clock.h"
#include "AsoKit/types.h"
#include "app/base/observable.h"
#include "app/base/off_main.h"
#include "app/base/thread_affinity.h"
#include "app/research/discovered_app.h"
#include "app/research/keep_term.h"
#include "app/research/request_gate.h"
#include "app/research/signals_check.h"
#include "app/research/track_draft.h"
#include "app/store/watchlist_writer.h"

namespace tovra::store {
class Store;
}

namespace tovra::research {

namespace discoverText {
inline constexpr std::string_view kNothingYet = "Nothing searched yet.";
inline constexpr std::string_view kTypeATerm = "Type a term to see the App Store's own results, in its order.";
using research::kNoResults;
inline constexpr std::string_view kSearchFailed = "The search failed — not a zero result";
inline constexpr std::string_view kNoChange = "no change since the last check";
inline constexpr std::string_view kAppKnown = "One lookup — the app is already known, no search needed.";
inline constexpr std::string_view kStorePosition = "store's position · no score added";
}  // namespace discoverText

// The source a discover search's saved search carries.
inline constexpr std::string_view kDiscoverLadderSource = "discover";

// Searches the App Store for a term and shows its own results in its own order, with no score of
// Tovra's own. Every search is kept as a saved search of the term and country. From a row the user opens
// a track draft, or keeps the term in a research space. Main thread only; every change goes to its
// subscribers. The search runs off the main thread; its answer is shown and kept back on it.
class DiscoverModel final {
 public:
  DiscoverModel(SignalsSearch search, store::Store& store, const asokit::WallClock& clock, base::MainQueue& queue);

  // Tells every subscriber after each change of what the model shows.
  const base::Observable<>& changes() const { return changes_; }
  // Called when the store refuses the client (HTTP 403 after retries), so that the caller starts the hold.
  void setOnForbidden(std::function<void()> onForbidden);

  void setTerm(std::string term);
  void setCountry(std::string country);
  // Starts searching the term in the country; false (nothing asked) when the term is blank. The answer
  // arrives later through the main-thread queue and overrides any search still under way; a failure
  // lands in failure(), a cancelled search leaves the last results as they were.
  bool search();
  void select(std::optional<std::string> appStoreId);

  const std::string& term() const { return term_; }
  const std::string& country() const { return country_; }
  bool isSearching() const { return isSearching_; }
  const std::optional<std::string>& failure() const { return failure_; }
  const std::vector<asokit::RankedApp>& results() const { return results_; }
  const std::optional<std::int64_t>& resultCount() const { return resultCount_; }
  const std::optional<std::string>& source() const { return source_; }
  const std::optional<std::string>& searchedTerm() const { return searchedTerm_; }
  const std::optional<std::string>& searchedCountry() const { return searchedCountry_; }
  const std::optional<asokit::WallTime>& lastSearchAt() const { return lastSearchAt_; }
  bool hasSearched() const { return hasSearched_; }
  const std::optional<std::string>& selectedId() const { return selectedId_; }
  // The last search found the same apps in the same order as the saved search before it.
  bool unchanged() const { return unchanged_; }
  const std::optional<std::string>& saveFailure() const { return saveFailure_; }
  // The last search was refused by the store or held back by its hold.
  bool refused() const { return refused_; }

  // What the panel says above the rows, line by line: the empty state, the failure (never shown as zero
  // results), an empty answer, "no change since the last check", a failed save.
  std::vector<std::string> statusLines() const;
  std::vector<DiscoveredApp> discovered() const;
  std::optional<DiscoveredApp> discoveredApp(std::string_view appStoreId) const;

  // A track draft for a row of the last search, carrying the searched term (carriedFromSearch). None
  // when no row has that ID. Throws StoreError when the store cannot be read.
  std::unique_ptr<TrackDraft> openTrackDraft(std::string_view appStoreId, const asokit::MonotonicClock& clock) const;
  // Keeps the searched term in a research space (carriedFromSearch). Throws KeepTargetError when nothing
  // was searched, StoreError when it cannot be saved.
  KeptTerm keepInSpace(store::WatchlistWriter& writer, const store::ResearchSpace& space) const;

 private:
  void finishSearch(const std::string& term, const std::string& country, base::Answer<asokit::SearchOutcome> answer);
  void changed();

  base::ThreadAffinity thread_;
  SignalsSearch search_;
  store::Store* store_;
  const asokit::WallClock* clock_;
  base::Observable<> changes_;
  std::function<void()> onForbidden_;
  std::string term_;
  std::string country_;
  bool isSearching_ = false;
  std::optional<std::string> failure_;
  std::vector<asokit::RankedApp> results_;
  std::optional<std::int64_t> resultCount_;
  std::optional<std::string> source_;
  std::optional<std::string> searchedTerm_;
  std::optional<std::string> searchedCountry_;
  std::optional<asokit::WallTime> lastSearchAt_;
  bool hasSearched_ = false;
  std::optional<std::string> selectedId_;
  bool unchanged_ = false;
  std::optional<std::string> saveFailure_;
  bool refused_ = false;
  base::OffMainRequests requests_;  // last: it stops its worker before the rest goes
};

// The keyword-and-country keys (queryKey) of every keyword an app measures, for a track draft's cost line.
std::unordered_set<std::string> measuredQueryKeys(store::Store& store);

// Confirms a track draft as one edit: tracks the app (or applies the ownership claim to the tracked one)
// and adds its keyword drafts with their provenance. The receipt lists the keywords added, so the edit can
// be undone. Throws StoreError when it cannot be saved; nothing is then written.
store::WatchlistWriter::Receipt confirmTrackDraft(store::Store& store, store::WatchlistWriter& writer,
                                                  const TrackDraft& draft);

}  // namespace tovra::research
