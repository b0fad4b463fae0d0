#include "app/measure/today_queue.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <unordered_set>

#include "AsoKit/lookup.h"
#include "app/base/keyword_key.h"
#include "app/measure/measure_texts.h"
#include "app/measure/run_report.h"

namespace tovra::measure {
namespace {

// The order of the groups on screen, which is not the union's own order.
int groupOf(TodayChange::Kind kind) {
  switch (kind) {
    case TodayChange::Kind::dropped:
      return 0;
    case TodayChange::Kind::rose:
      return 1;
    case TodayChange::Kind::unknownChange:
      return 2;
    case TodayChange::Kind::accumulating:
      return 3;
    case TodayChange::Kind::held:
      return 4;
  }
  return 5;
}

bool moved(const TodayRow& row) {
  return row.change.kind == TodayChange::Kind::dropped || row.change.kind == TodayChange::Kind::rose;
}

}  // namespace

TodayChange changeOf(const asokit::RankHistory& history) {
  return changeOf(history, static_cast<std::int64_t>(history.readingCount()));
}

TodayChange changeOf(const asokit::RankHistory& latest, std::int64_t readingCount) {
  if (readingCount < static_cast<std::int64_t>(kReadingsBeforeChange)) {
    return TodayChange::accumulating(readingCount);
  }
  const auto change = latest.change();
  if (!change) {
    return TodayChange::unknown();
  }
  if (*change < 0) {
    return TodayChange::dropped(-*change);
  }
  if (*change > 0) {
    return TodayChange::rose(*change);
  }
  return TodayChange::held();
}

std::string_view changeKindName(TodayChange::Kind kind) {
  switch (kind) {
    case TodayChange::Kind::dropped:
      return "dropped";
    case TodayChange::Kind::rose:
      return "rose";
    case TodayChange::Kind::accumulating:
      return "accumulating";
    case TodayChange::Kind::held:
      return "held";
    case TodayChange::Kind::unknownChange:
      break;
  }
  return "unknownChange";
}

std::string changeText(const TodayChange& change) {
  switch (change.kind) {
    case TodayChange::Kind::dropped:
      return "dropped " + std::to_string(change.amount);
    case TodayChange::Kind::rose:
      return "rose " + std::to_string(change.amount);
    case TodayChange::Kind::accumulating:
      return "accumulating · " + std::to_string(change.amount) + " of " + std::to_string(kReadingsBeforeChange) +
             " readings";
    case TodayChange::Kind::held:
      return "held";
    case TodayChange::Kind::unknownChange:
      break;
  }
  return "change unknown";
}

std::string rankText(std::optional<std::int64_t> rank, std::int64_t resultCount) {
  if (rank) {
    return std::to_string(*rank);
  }
  return resultCount == 0 ? std::string(research::kNoResults) : "not in the top " + std::to_string(resultCount);
}

void sortRows(std::vector<TodayRow>& rows) {
  // Sorting small keys that sit next to each other, then moving each row once, is much cheaper than
  // comparing and shuffling the rows themselves.
  struct Key {
    int group;
    std::int64_t amount;  // larger first
    std::int64_t rank;    // smaller first; an absent rank last
    const TodayRow* row;
    std::size_t index;
  };
  std::vector<Key> keys;
  keys.reserve(rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto& row = rows[i];
    std::int64_t amount = 0;
    switch (row.change.kind) {
      case TodayChange::Kind::dropped:
      case TodayChange::Kind::rose:
        amount = row.change.amount;  // the larger move first
        break;
      case TodayChange::Kind::accumulating:
        amount = -row.change.amount;  // fewer readings first
        break;
      case TodayChange::Kind::held:
      case TodayChange::Kind::unknownChange:
        break;
    }
    keys.push_back(
        {groupOf(row.change.kind), amount, row.rank.value_or(std::numeric_limits<std::int64_t>::max()), &row, i});
  }
  std::stable_sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) {
    if (a.group != b.group) {
      return a.group < b.group;
    }
    if (a.amount != b.amount) {
      return a.amount > b.amount;
    }
    if (a.rank != b.rank) {
      return a.rank < b.rank;
    }
    // UTF-8 byte order is code-point order.
    if (a.row->keyword != b.row->keyword) {
      return a.row->keyword < b.row->keyword;
    }
    return a.row->country < b.row->country;
  });
  std::vector<TodayRow> sorted;
  sorted.reserve(rows.size());
  for (const auto& key : keys) {
    sorted.push_back(std::move(rows[key.index]));
  }
  rows = std::move(sorted);
}

std::string notMeasuredReason(store::RunOutcomeStatus status, const std::optional<std::string>& message) {
  if (message) {
    return *message;
  }
  return status == store::RunOutcomeStatus::failed ? "the App Store did not answer" : "the run ended before this query";
}

std::string summaryLine(const TodayQueue& queue) {
  std::int64_t rows = 0;
  std::int64_t movedRows = 0;
  std::int64_t unknownRows = 0;
  std::int64_t heldRows = 0;
  for (const auto* list : {&queue.pending, &queue.reviewed, &queue.held}) {
    for (const auto& row : *list) {
      ++rows;
      movedRows += moved(row) ? 1 : 0;
      unknownRows += row.change.kind == TodayChange::Kind::unknownChange ? 1 : 0;
      heldRows += row.change.kind == TodayChange::Kind::held ? 1 : 0;
    }
  }
  const std::string join(texts::kJoin);
  std::string line = std::to_string(rows) + " keyword" + (rows == 1 ? "" : "s");
  if (movedRows > 0) {
    line += join + std::to_string(movedRows) + " moved";
  }
  if (unknownRows > 0) {
    line += join + std::to_string(unknownRows) + " change unknown";
  }
  if (heldRows > 0) {
    line += join + std::to_string(heldRows) + " held";
  }
  if (!queue.notMeasured.empty()) {
    line += join + std::to_string(queue.notMeasured.size()) + " not measured";
  }
  return line;
}

std::string lastRunLine(const TodayQueue& queue, const store::LocalTimeFormat& localTime) {
  if (!queue.finishedAt) {
    return "No run has finished yet.";
  }
  const std::string join(texts::kJoin);
  return "Last run " + localTime.minute(*queue.finishedAt) + join + std::to_string(queue.queryCount) +
         (queue.queryCount == 1 ? " keyword" : " keywords") + join + std::to_string(queue.requestCount) +
         (queue.requestCount == 1 ? " request" : " requests") + (queue.halted ? join + "halted" : "");
}

TodayQueue buildTodayQueue(store::TodaySnapshot snapshot, const asokit::Calendar& calendar,
                           std::optional<store::ReviewMark> undoableMark) {
  std::unordered_map<std::int64_t, const store::TrackedApp*> apps;
  for (const auto& app : snapshot.apps) {
    apps.emplace(app.rowId.value, &app);
  }
  std::unordered_map<std::int64_t, std::vector<store::AppLocalization>> names;
  for (const auto& localization : snapshot.localizations) {
    if (localization.app) {
      names[localization.app->value].push_back(localization);
    }
  }
  // A label depends on the app and the country only, so it is made once per pair.
  std::unordered_map<std::string, std::string> labels;
  const std::vector<store::AppLocalization> noNames;
  const auto labelOf = [&](const store::TrackedQuery& query, const store::TrackedApp* app) -> const std::string& {
    auto key = std::to_string(app ? app->rowId.value : 0) + "|" + query.country;
    const auto known = labels.find(key);
    if (known != labels.end()) {
      return known->second;
    }
    const auto found = app ? names.find(app->rowId.value) : names.end();
    return labels
        .emplace(std::move(key), appLabel(query, app ? std::optional(*app) : std::nullopt,
                                          found == names.end() ? noNames : found->second))
        .first->second;
  };

  // Readings of a run share their day, so the calendar is asked once per distinct instant.
  std::unordered_map<std::int64_t, asokit::WallTime> dayStarts;
  const auto startOfDay = [&](asokit::WallTime moment) {
    const auto key = moment.time_since_epoch().count();
    const auto found = dayStarts.find(key);
    if (found != dayStarts.end()) {
      return found->second;
    }
    return dayStarts.emplace(key, calendar.startOfDay(moment)).first->second;
  };
  std::unordered_map<std::int64_t, std::optional<std::string>> icons;
  for (const auto& app : snapshot.apps) {
    icons.emplace(app.rowId.value, app.artworkUrl512 ? asokit::lookup::iconUrl(*app.artworkUrl512) : std::nullopt);
  }

  TodayQueue queue;
  queue.pending.reserve(snapshot.keywords.size());
  if (snapshot.lastRun) {
    queue.finishedAt = snapshot.lastRun->finishedAt;
    queue.day = calendar.startOfDay(snapshot.lastRun->finishedAt.value_or(snapshot.lastRun->startedAt));
    queue.halted = snapshot.lastRun->halted;
    queue.queryCount = snapshot.lastRun->queryCount;
    queue.requestCount = snapshot.lastRun->requestCount;
  }

  const auto appOf = [&](const store::TrackedQuery& query) -> const store::TrackedApp* {
    const auto found = apps.find(query.app->value);
    return found == apps.end() ? nullptr : found->second;
  };
  // The snapshot lists keywords by row, so a keyword is found by halving.
  const auto keywordOf = [&](std::int64_t row) -> const store::TodaySnapshot::Keyword* {
    const auto found = std::lower_bound(snapshot.keywords.begin(), snapshot.keywords.end(), row,
                                        [](const store::TodaySnapshot::Keyword& keyword, std::int64_t value) {
                                          return keyword.query.rowId.value < value;
                                        });
    return found == snapshot.keywords.end() || found->query.rowId.value != row ? nullptr : &*found;
  };
  std::unordered_set<std::int64_t> unmeasuredInLastRun;
  for (const auto& outcome : snapshot.lastRunMisses) {
    const auto status = outcome.status();
    if (!outcome.query || !status || *status == store::RunOutcomeStatus::measured) {
      continue;
    }
    const auto* keyword = keywordOf(outcome.query->value);
    if (!keyword || keyword->query.isPaused) {
      continue;  // deleted, moved out of the app, or paused since: not a failure to show
    }
    const auto& query = keyword->query;
    const auto* app = appOf(query);
    queue.notMeasured.push_back({query.rowId.value, query.keyword, query.country, app ? app->appStoreId : "",
                                 labelOf(query, app), *status, notMeasuredReason(*status, outcome.message)});
    unmeasuredInLastRun.insert(query.rowId.value);
  }

  bool markStillThere = false;
  for (auto& keyword : snapshot.keywords) {
    auto& query = keyword.query;
    const auto* app = appOf(query);
    if (!app) {
      continue;
    }
    if (query.isPaused || !keyword.newest) {
      if (query.isPaused || !unmeasuredInLastRun.contains(query.rowId.value)) {
        auto& list = query.isPaused ? queue.paused : queue.notMeasuredYet;
        list.push_back({query.rowId.value, query, query.keyword, query.country, app->appStoreId, labelOf(query, app)});
      }
      continue;
    }
    auto& latest = *keyword.newest;
    TodayRow row;
    row.id = query.rowId.value;
    row.keyword = query.keyword;
    row.country = query.country;
    row.appStoreId = app->appStoreId;
    row.appLabel = labelOf(query, app);
    row.query = std::move(query);
    row.iconURL = icons[app->rowId.value];
    row.rank = latest.rank;
    row.resultCount = latest.resultCount;
    row.source = std::move(latest.source);
    row.measuredAt = latest.measuredAt;
    row.day = startOfDay(latest.day);
    std::vector<asokit::RankPoint> newestTwo;
    newestTwo.reserve(2);
    if (keyword.previous) {
      newestTwo.push_back({startOfDay(keyword.previous->day), keyword.previous->rank});
    }
    newestTwo.push_back({row.day, latest.rank});
    std::vector<asokit::RankPoint> points;
    points.reserve(keyword.recent.size());
    for (const auto& reading : keyword.recent) {
      points.push_back({startOfDay(reading.day), reading.rank});
    }
    row.history = asokit::RankHistory(std::move(points));
    row.readingCount = keyword.readingCount;
    row.change = changeOf(asokit::RankHistory(std::move(newestTwo)), keyword.readingCount);
    row.isReviewed = keyword.latestMark && startOfDay(keyword.latestMark->day) == row.day;
    if (undoableMark && keyword.latestMark && keyword.latestMark->mark == undoableMark->rowId) {
      markStillThere = true;
    }
    auto& list = row.isReviewed                               ? queue.reviewed
                 : row.change.kind == TodayChange::Kind::held ? queue.held
                                                              : queue.pending;
    list.push_back(std::move(row));
  }
  sortRows(queue.pending);
  sortRows(queue.reviewed);
  sortRows(queue.held);
  if (markStillThere) {
    queue.undoableMark = undoableMark;
  }
  return queue;
}

TodayQueue narrowedQueue(TodayQueue queue, const std::optional<std::string>& country,
                         const std::optional<std::string>& appStoreId) {
  const auto wantedCountry = country ? std::optional(base::normalizedCountry(*country)) : std::nullopt;
  const auto keep = [&](const auto& row) {
    return (!wantedCountry || base::normalizedCountry(row.country) == *wantedCountry) &&
           (!appStoreId || row.appStoreId == *appStoreId);
  };
  const auto narrow = [&](auto& rows) { std::erase_if(rows, [&](const auto& row) { return !keep(row); }); };
  narrow(queue.pending);
  narrow(queue.reviewed);
  narrow(queue.held);
  narrow(queue.notMeasured);
  narrow(queue.notMeasuredYet);
  narrow(queue.paused);
  return queue;
}

}  // namespace tovra::measure
