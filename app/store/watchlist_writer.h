#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/clock.h"
#include "app/store/keyword_draft.h"
#include "app/store/records.h"

namespace tovra::store {

class Store;

// An app as a lookup or a search described it, ready to be tracked.
struct AppFacts {
  std::string appStoreId;
  std::string name;
  std::string developer;
  std::optional<std::string> bundleId;
  std::optional<std::string> artworkUrl512;
  // The current version and when the store released it, when the answer told both: tracking the app keeps
  // it as the app's first known release, so its chart marks releases from the first day on.
  std::optional<std::string> version;
  std::optional<WallTime> versionReleasedAt;
  bool operator==(const AppFacts&) const = default;
};

// The one place where tracked apps, their keywords and research spaces change, so that duplicate
// handling, name normalisation and saving are the same for every sheet, board and command. Each
// operation is one transaction: it completes and saves, or throws (StoreError for the store, EditError
// for a refused edit) and leaves the store as it was. Keywords are compared by research::queryKey, the
// one key of the whole application; countries are stored trimmed and lower-cased.
class WatchlistWriter final {
 public:
  // An edit the writer refuses; its description is the text the user reads.
  class EditError final : public std::runtime_error {
   public:
    enum class Kind { emptyName, notWatched, notParked };
    explicit EditError(Kind kind);
    Kind kind() const { return kind_; }
    std::string description() const { return what(); }

   private:
    Kind kind_;
  };

  // What one track-app or graduate-space edit did, so that it can be taken back.
  struct Receipt {
    TrackedApp app;
    bool createdApp = false;
    std::optional<AppLocalization> createdLocalization;
    // Filled by the caller when it adds keywords as part of the same edit (the track panel does).
    std::vector<TrackedQuery> createdQueries;
    std::optional<bool> previousIsMine;  // absent when the app was created
    std::vector<TrackedQuery> movedQueries;
    std::vector<TrackedQuery> keptInSpace;
    // A graduation's space as it was before the edit, so that undo can take back its graduation mark.
    std::optional<ResearchSpace> graduatedSpace;
    bool operator==(const Receipt&) const = default;
  };

  // The name a research space gets when it is created without one.
  static constexpr std::string_view kDefaultSpaceName = "research space";

  WatchlistWriter(Store& store, const asokit::WallClock& clock);

  // A blank name becomes kDefaultSpaceName; a blank note is stored as absent. `id` is the space's UUID.
  ResearchSpace createSpace(std::string_view id, std::string_view name,
                            const std::optional<std::string>& note = std::nullopt);
  // Throws emptyName for a blank name. The same name (after trimming) writes nothing. Returns the space
  // as stored afterwards.
  ResearchSpace renameSpace(const ResearchSpace& space, std::string_view newName);
  // A blank keyword adds nothing (none). A keyword the space already holds in that country is returned
  // as it is, and nothing is written.
  std::optional<TrackedQuery> parkKeyword(const ResearchSpace& space, std::string_view keyword,
                                          std::string_view country, KeywordProvenance provenance);
  // Parks every draft in one save, skipping blanks and duplicates as parkKeyword does; returns the
  // keywords that were inserted.
  std::vector<TrackedQuery> parkKeywords(const ResearchSpace& space, const std::vector<store::KeywordDraft>& drafts);
  // Only a keyword parked in a space (no app) may be removed this way; anything else throws notParked.
  // Its readings go with it.
  void removeParkedKeyword(const TrackedQuery& query);
  // A keyword without an app (parked) throws notWatched. Setting the value it already has writes
  // nothing. Returns the keyword as stored afterwards.
  TrackedQuery setPaused(const TrackedQuery& query, bool paused);

  std::optional<TrackedApp> findApp(std::string_view appStoreId) const;
  // Brings the app's name in `country` up to date; returns the localization only when it was created.
  std::optional<AppLocalization> recordLocalization(const TrackedApp& app, std::string_view country,
                                                    std::string_view name, std::string_view developer);
  // Inserts the app, or applies the claim and refreshes the facts of the tracked one (a fact the
  // lookup did not give — bundle id, icon — keeps its stored value), and records its name in `country`.
  Receipt trackApp(const AppFacts& facts, std::string_view country, bool isMine);
  // Adds the drafts to the app in one save, in order, skipping blank keywords and any whose key the
  // app already has or an earlier draft of the batch had. Returns the inserted keywords.
  std::vector<TrackedQuery> addKeywords(const TrackedApp& app, const std::vector<store::KeywordDraft>& drafts);
  // Tracks the app, then moves the space's keywords onto it; a keyword the app already has stays in the
  // space (keptInSpace). Moved keywords keep their provenance, date and history. The space remembers
  // the app it graduated to.
  Receipt graduateSpace(const ResearchSpace& space, const AppFacts& facts, std::string_view country, bool isMine);
  // Takes back a track-app edit: its keywords, its localization, and the app when the edit created it
  // (else its previous claim); a graduation's space loses its graduation mark. A receipt that moved
  // keywords is never undone: nothing happens.
  void undo(const Receipt& receipt);

 private:
  Store* store_;
  const asokit::WallClock* clock_;
};

}  // namespace tovra::store
