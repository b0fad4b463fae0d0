#include "app/store/best_ranks.h"

#include "app/store/rows.h"
#include "app/store/transaction.h"

namespace tovra::store {

std::unordered_map<std::int64_t, std::int64_t> readBestRanks(Store& store) {
  const Transaction snapshot(store, Transaction::Mode::read);
  std::unordered_map<std::int64_t, std::int64_t> best;
  // The (period, day, pk, rank) index answers this without the table.
  Rows rows(store,
            "SELECT p.query, MIN(o.rank) FROM ReadingPeriod p JOIN StoredObservation o ON o.period = p.pk "
            "WHERE o.rank IS NOT NULL GROUP BY p.query");
  while (rows.next()) {
    best.emplace(rows.integer(0), rows.integer(1));
  }
  return best;
}

}  // namespace tovra::store
