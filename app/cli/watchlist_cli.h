#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/store/deletion_plan.h"
#include "app/store/records.h"
#include "app/store/watchlist_editor.h"
#include "app/store/watchlist_writer.h"

// What the watchlist commands (app, keywords, space, delete-everything) share: finding what the user
// named, reading a pasted keyword list, and confirming a deletion.
namespace tovra::cli {

class Context;

// The store with its writer and the board's editor, for one command. Every change goes through edit(),
// so a refused edit or a failed save ends the command with the editor's failure line.
class Watchlist final {
 public:
  explicit Watchlist(Context& context);
  store::Store& store() { return *store_; }
  store::WatchlistWriter& writer() { return writer_; }
  store::WatchlistEditor& editor() { return editor_; }
  void edit(const std::function<void()>& change);

 private:
  store::Store* store_;
  store::WatchlistWriter writer_;
  store::WatchlistEditor editor_;
};

// The trimmed, lower-cased code of a known storefront; an unknown one ends the command with the
// client's own words for it.
std::string requireCountry(std::string_view country);
// Refuses anything but well-formed UTF-8 in each text (usage error).
void requireUtf8Texts(const std::vector<std::string>& texts, std::string_view what);

// A tracked app named as the user has it at hand: App Store id, App Store link, bundle id or name
// (research::findTrackedApp); a name several apps share ends the command listing their ids.
store::TrackedApp requireApp(store::Store& store, std::string_view app);
// By its id, else by its name whatever its letter case; several spaces of one name must be named by id.
store::ResearchSpace requireSpace(store::Store& store, std::string_view nameOrId);

// "the research space “NAME”"
std::string spaceLabel(const store::ResearchSpace& space);

// Who a keyword belongs to on the command line: an app (as requireApp names it), or "space:NAME".
struct Owner {
  std::optional<store::TrackedApp> app;
  std::optional<store::ResearchSpace> space;
  std::string label;  // the app's name, or spaceLabel
  static Owner of(const store::TrackedApp& app);
  static Owner of(const store::ResearchSpace& space);
  std::vector<store::TrackedQuery> queries(store::Store& store) const;
};
Owner requireOwner(store::Store& store, std::string_view text);
// The owner's keyword with the key of `keyword` in `country`; none when it has no such keyword.
std::optional<store::TrackedQuery> findKeyword(const std::vector<store::TrackedQuery>& queries,
                                               std::string_view keyword, std::string_view country);
std::string describeKeyword(std::string_view keyword, std::string_view country);  // “maps” in US

// The TEXT arguments read as one paste (words the shell split apart meet again as one keyword, with a
// warning on stderr naming it), or standard input for "-" or for no TEXT when stdin is not a terminal;
// parsed against the keywords the
// owner already has in `country` (so re-adding one is reported as already added), then added to the app
// or parked in the space in one edit, and what was added printed with the notice of what was dropped. A
// paste that names no keyword, or of which nothing is left to add after dropping keywords for being too
// long or over the limit, ends the command with nothing added.
void addPaste(Context& context, Watchlist& watchlist, const Owner& owner, const std::vector<std::string>& texts,
              const std::string& country);

// Shows the plan; carries it out only with `yes`.
void confirmDeletion(Context& context, Watchlist& watchlist, const store::DeletionPlan& plan, bool yes);

}  // namespace tovra::cli
