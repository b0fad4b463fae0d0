#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include "app/store/keyword_draft.h"
#include "app/store/records.h"
#include "app/store/watchlist_writer.h"

namespace tovra::store {
class WatchlistWriter;
}

namespace tovra::research {

// Where a term taken from research (a search or a store hint) is kept: a tracked app, which then measures
// it, or a research space, which only keeps it.
struct KeepTarget {
  std::variant<store::TrackedApp, store::ResearchSpace> owner;
  // The app's name or the space's name, for the line that reports what was kept.
  std::string label() const;
};

// A term that cannot be kept (an empty one, or none searched yet); its text says why.
class KeepTargetError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct KeptTerm {
  std::string keyword;        // as kept: whitespace collapsed
  std::string country;        // trimmed, lower-cased
  bool alreadyThere = false;  // the owner already had the keyword in that country; nothing was written
  std::optional<store::TrackedQuery> inserted;
};

// Writes the term for the target through the watchlist writer with its provenance. A keyword the owner
// already has in that country counts as already added, never silently skipped. Throws KeepTargetError for
// an empty term, StoreError when it cannot be saved.
KeptTerm keepTerm(store::WatchlistWriter& writer, const KeepTarget& target, std::string_view term,
                  std::string_view country, store::KeywordProvenance provenance);

// "“photo editor” in US is now tracked for Lumen Photo", "… is now kept in Travel ideas", or "… was
// already added to …".
std::string keptText(const KeptTerm& kept, const KeepTarget& target);

// What tracking a keyword after checking it once says: "This keyword is now tracked.", or that the app
// already had it.
std::string checkTrackedText(const KeptTerm& kept, const store::TrackedApp& app);

// The searched term as a confirmed track draft kept it for its app: already there when the draft added no
// keyword, since the app then had the term already.
KeptTerm keptByTrackDraft(const store::WatchlistWriter::Receipt& receipt, std::string_view term,
                          std::string_view country);
// keptText for the receipt's app, after "Lumen Photo is now tracked · " when the draft started tracking
// the app.
std::string trackedText(const store::WatchlistWriter::Receipt& receipt, const KeptTerm& kept);

}  // namespace tovra::research
