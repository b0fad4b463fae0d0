#include "app/store/today_reads.h"

#include <algorithm>
#include <string>

#include "app/store/rows.h"
#include "app/store/store.h"
#include "app/store/transaction.h"

namespace tovra::store {

TodaySnapshot readTodaySnapshot(Store& store, std::size_t readingsPerKeyword) {
  const Transaction snapshot(store, Transaction::Mode::read);
  TodaySnapshot result;
  result.apps = store.apps().all();
  result.localizations = store.localizations().all();

  Rows keywords(store,
                "SELECT pk, keyword, country, provenanceRaw, addedAt, isPaused, app, space FROM TrackedQuery "
                "WHERE app IS NOT NULL ORDER BY pk");
  while (keywords.next()) {
    TodaySnapshot::Keyword keyword;
    auto& query = keyword.query;
    query.rowId = RecordId<TrackedQuery>{keywords.integer(0)};
    query.keyword = std::string(keywords.text(1));
    query.country = std::string(keywords.text(2));
    query.provenanceRaw = std::string(keywords.text(3));
    query.addedAt = keywords.time(4);
    query.isPaused = keywords.flag(5);
    query.app = RecordId<TrackedApp>{keywords.integer(6)};
    if (!keywords.isNull(7)) {
      query.space = RecordId<ResearchSpace>{keywords.integer(7)};
    }
    result.keywords.push_back(std::move(keyword));
  }

  // One index probe per keyword on (query, day), walking back from its newest reading.
  const std::string latestSql =
      "SELECT pk, day, measuredAt, rank, resultCount, source FROM StoredObservation WHERE query = ?1 "
      "ORDER BY day DESC, pk DESC LIMIT " +
      std::to_string(readingsPerKeyword);
  Rows latest(store, latestSql.c_str());
  Rows marks(store, "SELECT pk, day, markedAt FROM ReviewMark WHERE query = ?1 ORDER BY day DESC, pk DESC LIMIT 1");
  for (auto& keyword : result.keywords) {
    const auto id = keyword.query.rowId;
    latest.restart(id.value);
    while (latest.next()) {
      keyword.latest.push_back(StoredObservation{RecordId<StoredObservation>{latest.integer(0)}, latest.time(1),
                                                 latest.time(2), latest.optionalInteger(3), latest.integer(4),
                                                 std::string(latest.text(5)), id});
    }
    std::reverse(keyword.latest.begin(), keyword.latest.end());
    if (keyword.latest.empty()) {
      continue;
    }
    marks.restart(id.value);
    if (marks.next()) {
      keyword.latestMark = ReviewMark{RecordId<ReviewMark>{marks.integer(0)}, marks.time(1), marks.time(2), id};
    }
  }

  result.lastRun = store.runs().latest();
  if (result.lastRun) {
    result.lastRunOutcomes = store.outcomes().ofRun(result.lastRun->rowId);
  }
  return result;
}

}  // namespace tovra::store
