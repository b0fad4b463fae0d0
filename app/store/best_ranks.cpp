#include "app/store/best_ranks.h"

#include <string>

#include "app/store/reading_periods.h"
#include "app/store/rows.h"
#include "app/store/transaction.h"

namespace tovra::store {

std::unordered_map<std::int64_t, std::optional<std::int64_t>> readBestRanks(Store& store,
                                                                            const std::vector<std::int64_t>& keywords) {
  const Transaction snapshot(store, Transaction::Mode::read);
  std::unordered_map<std::int64_t, std::optional<std::int64_t>> best;
  // The (period, day, pk, rank) index answers this without the table.
  const std::string sql =
      "SELECT MIN(o.rank) FROM " + std::string(periods::kReadingsOfQuery) + " AND o.rank IS NOT NULL";
  Rows rows(store, sql);
  for (const auto keyword : keywords) {
    rows.restart(keyword);
    best[keyword] = rows.next() ? rows.optionalInteger(0) : std::nullopt;
  }
  return best;
}

}  // namespace tovra::store
