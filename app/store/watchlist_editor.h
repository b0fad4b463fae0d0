#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "app/base/observable.h"
#include "app/base/thread_affinity.h"
#include "app/store/deletion_plan.h"
#include "app/store/records.h"
#include "app/store/watchlist_writer.h"

namespace tovra::store {

class Store;
class StoreError;

// The start of the failure line when the store refuses to save an edit; the store's own text follows.
inline constexpr std::string_view kSaveFailed = "Tovra could not save this change";

// "Tovra could not save this change: " followed by the store's description of the failure.
std::string saveFailureText(const StoreError& error);

// The watchlist board's state: a rename in progress, a deletion waiting for its confirmation, and the
// failure line under the board. Every change goes through the writer or StoreDeletion; a refused edit
// shows its own text in the failure line, a failed save "Tovra could not save this change" with the
// store's words, and the board (or the command line) goes on. Main thread only; every change of the
// state goes to its subscribers.
class WatchlistEditor final {
 public:
  WatchlistEditor(Store& store, WatchlistWriter& writer);

  // Tells every subscriber after each change of what the model shows.
  const base::Observable<>& changes() const { return changes_; }

  const std::optional<DeletionPlan>& pendingDeletion() const;
  const std::optional<ResearchSpace>& renaming() const;
  bool isRenaming() const;
  const std::string& draftName() const;
  const std::optional<std::string>& failure() const;

  // Opens the rename with the space's current name as the draft.
  void beginRename(const ResearchSpace& space);
  void setDraftName(std::string name);
  // Renames to the draft. On success the rename closes and the failure line clears; a refused name
  // (blank) keeps the rename open with the refusal in the failure line. Returns whether it was saved.
  bool commitRename();
  void cancelRename();

  // Opens the confirmation of a deletion.
  void askToDelete(DeletionPlan plan);
  // Carries the pending plan out and closes the confirmation; returns whether it was deleted. Without
  // a pending plan nothing happens and the answer is false.
  bool confirmDeletion();
  void cancelDeletion();

  // Any other edit of the board, run through the writer by `edit`. Returns whether it completed; when
  // it did not, the failure line says why. Errors other than a refused edit or a store failure pass on.
  bool apply(const std::function<void()>& edit);
  void dismissFailure();

 private:
  bool attempt(const std::function<void()>& edit);
  void changed();

  base::ThreadAffinity thread_;
  Store* store_;
  WatchlistWriter* writer_;
  base::Observable<> changes_;
  std::optional<DeletionPlan> pendingDeletion_;
  std::optional<ResearchSpace> renaming_;
  bool isRenaming_ = false;
  std::string draftName_;
  std::optional<std::string> failure_;
};

}  // namespace tovra::store
