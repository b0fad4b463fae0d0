// Carrying out a confirmed deletion plan.

#include "app/store/app_releases.h"
#include "app/store/deletion_plan.h"
#include "app/store/store.h"
#include "app/store/store_error.h"
#include "app/store/transaction.h"

namespace tovra::store {

void StoreDeletion::carryOut(const DeletionPlan& plan) {
  auto& store = *store_;
  Transaction change(store);
  // The user confirmed a list. Cascades would take along whatever was added since it was made (a run
  // finishing while the confirmation was open writes a reading), so the list is checked against the
  // store inside the same transaction, and a different list deletes nothing.
  if (!plan.listsSameRecords(plan.reread(store))) {
    throw StoreError(
        StoreError::Kind::notFound,
        "The store changed after this deletion was listed, so nothing was deleted. Review the list again.");
  }
  if (std::holds_alternative<DeletionPlan::EverythingSubject>(plan.subject)) {
    // The list is the whole store, as just checked; clearing each table spares a million single deletes.
    store.hints().removeAll();
    store.probes().removeAll();
    store.ladderEntries().removeAll();
    store.ladders().removeAll();
    store.outcomes().removeAll();
    store.runs().removeAll();
    store.reviewMarks().removeAll();
    store.observations().removeAll();
    store.queries().removeAll();
    store.localizations().removeAll();
    store.spaces().removeAll();
    store.apps().removeAll();
    // What the lookups showed of apps' versions goes with everything else.
    Releases(store).removeAll();
  } else {
    // Owned records first, so no cascade ever decides what goes.
    store.hints().remove(plan.hints);
    store.probes().remove(plan.probes);
    store.ladderEntries().remove(plan.ladderEntries);
    store.ladders().remove(plan.ladders);
    store.outcomes().remove(plan.outcomes);
    store.runs().remove(plan.runs);
    store.reviewMarks().remove(plan.reviewMarks);
    store.observations().remove(plan.observations);
    store.queries().remove(plan.queries);
    store.localizations().remove(plan.localizations);
    store.spaces().remove(plan.spaces);
    store.apps().remove(plan.apps);
  }
  change.commit();
}

}  // namespace tovra::store
