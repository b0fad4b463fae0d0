#include "app/store/today_reads.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "app/store/dates.h"
#include "app/store/reading_periods.h"
#include "app/store/rows.h"
#include "app/store/store.h"
#include "app/store/transaction.h"

namespace tovra::store {

namespace {

bool later(const TodaySnapshot::MarkedDay& a, const TodaySnapshot::MarkedDay& b) {
  return a.day != b.day ? a.day > b.day : a.mark > b.mark;
}

// The newest review mark of each keyword with a reading. Marks are few next to readings, so up to a few
// per keyword are read in one pass; a store holding more is asked keyword by keyword, through the
// (query, day) index without the table.
void readLatestMarks(Store& store, std::vector<TodaySnapshot::Keyword>& keywords) {
  const auto limit = static_cast<std::int64_t>(keywords.size()) * 4 + 16;
  std::unordered_map<std::int64_t, TodaySnapshot::MarkedDay> newest;
  Rows all(store, "SELECT query, pk, day FROM ReviewMark WHERE query IS NOT NULL LIMIT ?1");
  all.restart(limit + 1);
  std::int64_t seen = 0;
  while (all.next() && ++seen <= limit) {
    const TodaySnapshot::MarkedDay mark{RecordId<ReviewMark>{all.integer(1)}, all.time(2)};
    const auto [at, inserted] = newest.try_emplace(all.integer(0), mark);
    if (!inserted && later(mark, at->second)) {
      at->second = mark;
    }
  }
  if (seen <= limit) {
    for (auto& keyword : keywords) {
      const auto found = newest.find(keyword.query.rowId.value);
      if (keyword.readingCount > 0 && found != newest.end()) {
        keyword.latestMark = found->second;
      }
    }
    return;
  }
  Rows marks(store, "SELECT pk, day FROM ReviewMark WHERE query = ?1 ORDER BY day DESC, pk DESC LIMIT 1");
  for (auto& keyword : keywords) {
    if (keyword.readingCount == 0) {
      continue;
    }
    marks.restart(keyword.query.rowId.value);
    if (marks.next()) {
      keyword.latestMark = TodaySnapshot::MarkedDay{RecordId<ReviewMark>{marks.integer(0)}, marks.time(1)};
    }
  }
}

}  // namespace

TodaySnapshot readTodaySnapshot(Store& store, std::int64_t countUpTo, WallTime recentSince) {
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

  // Per keyword, a walk down its periods of the recent days, on the indexes alone, gives their readings
  // newest first with days and ranks; only when they are fewer than `countUpTo` does a second walk go on
  // into the older ones, to count up to that number. Only the newest of each is then read in full, in row
  // order.
  const auto since = std::to_string(toMillis(recentSince));
  const auto sinceSpan = std::to_string(periods::spanOf(toMillis(recentSince)));
  const std::string recentSql =
      "SELECT o.pk, o.day, o.rank FROM ReadingPeriod p JOIN StoredObservation o ON "
      "o.period = p.pk AND o.day >= " +
      since + " WHERE p.query = ?1 AND p.span >= " + sinceSpan + std::string(periods::kNewestFirst);
  const std::string olderSql = "SELECT o.pk, o.day, o.rank FROM " + std::string(periods::kReadingsOfQuery) +
                               " AND p.span <= " + sinceSpan + " AND o.day < " + since +
                               std::string(periods::kNewestFirst);
  Rows recentRows(store, recentSql.c_str());
  Rows olderRows(store, olderSql.c_str());
  struct Wanted {
    std::int64_t row;
    std::size_t keyword;
  };
  std::vector<Wanted> wanted;
  wanted.reserve(result.keywords.size());
  std::vector<TodaySnapshot::DayRank> newestFirst;  // reused, so each keyword's list is allocated once
  for (std::size_t k = 0; k < result.keywords.size(); ++k) {
    auto& keyword = result.keywords[k];
    std::int64_t position = 0;
    const auto take = [&](const Rows& rows, bool recent) {
      const auto day = rows.time(1);
      if (position < countUpTo) {
        ++keyword.readingCount;
      }
      if (position == 0) {
        wanted.push_back({rows.integer(0), k});
      } else if (position == 1) {
        keyword.previous = TodaySnapshot::DayRank{day, rows.optionalInteger(2)};
      }
      if (recent) {
        newestFirst.push_back(TodaySnapshot::DayRank{day, rows.optionalInteger(2)});
      }
      ++position;
    };
    newestFirst.clear();
    recentRows.restart(keyword.query.rowId.value);
    while (recentRows.next()) {
      take(recentRows, true);
    }
    keyword.recent.assign(newestFirst.rbegin(), newestFirst.rend());
    if (position < countUpTo) {
      olderRows.restart(keyword.query.rowId.value);
      while (position < countUpTo && olderRows.next()) {
        take(olderRows, false);
      }
    }
  }
  readLatestMarks(store, result.keywords);
  std::sort(wanted.begin(), wanted.end(), [](const Wanted& a, const Wanted& b) { return a.row < b.row; });
  // A run writes its day's readings one after another, so the wanted rows mostly come in long close
  // stretches: stepping over a few rows between them is cheaper than looking each one up.
  constexpr std::int64_t kStepOver = 16;
  Rows reading(store,
               "SELECT pk, day, measuredAt, rank, resultCount, source FROM StoredObservation WHERE pk >= ?1 "
               "ORDER BY pk");
  bool onRow = false;
  for (const auto& want : wanted) {
    if (!onRow || want.row < reading.integer(0) || want.row - reading.integer(0) > kStepOver) {
      reading.restart(want.row);
      onRow = reading.next();
    }
    while (onRow && reading.integer(0) < want.row) {
      onRow = reading.next();
    }
    if (onRow && reading.integer(0) == want.row) {
      auto& keyword = result.keywords[want.keyword];
      keyword.newest = StoredObservation{RecordId<StoredObservation>{want.row},
                                         reading.time(1),
                                         reading.time(2),
                                         reading.optionalInteger(3),
                                         reading.integer(4),
                                         std::string(reading.text(5)),
                                         keyword.query.rowId};
    }
  }

  result.lastRun = store.runs().latest();
  if (result.lastRun) {
    Rows misses(store,
                "SELECT pk, statusRaw, message, query FROM RunOutcome WHERE run = ?1 AND statusRaw <> 'measured' "
                "ORDER BY pk");
    misses.restart(result.lastRun->rowId.value);
    while (misses.next()) {
      RunOutcome outcome;
      outcome.rowId = RecordId<RunOutcome>{misses.integer(0)};
      outcome.statusRaw = std::string(misses.text(1));
      outcome.message = misses.optionalText(2);
      outcome.run = result.lastRun->rowId;
      if (!misses.isNull(3)) {
        outcome.query = RecordId<TrackedQuery>{misses.integer(3)};
      }
      result.lastRunMisses.push_back(std::move(outcome));
    }
  }
  return result;
}

}  // namespace tovra::store
