#include "app/measure/today_queue.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "AsoKit/lookup.h"
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

bool comesBefore(const TodayRow& a, const TodayRow& b) {
  const auto groupA = groupOf(a.change.kind);
  const auto groupB = groupOf(b.change.kind);
  if (groupA != groupB) {
    return groupA < groupB;
  }
  switch (a.change.kind) {
    case TodayChange::Kind::dropped:
    case TodayChange::Kind::rose:
      if (a.change.amount != b.change.amount) {
        return a.change.amount > b.change.amount;
      }
      break;
    case TodayChange::Kind::accumulating:
      if (a.change.amount != b.change.amount) {
        return a.change.amount < b.change.amount;
      }
      break;
    case TodayChange::Kind::held:
    case TodayChange::Kind::unknownChange:
      break;
  }
  if (a.rank.has_value() != b.rank.has_value()) {
    return a.rank.has_value();
  }
  if (a.rank && *a.rank != *b.rank) {
    return *a.rank < *b.rank;
  }
  // UTF-8 byte order is code-point order.
  if (a.keyword != b.keyword) {
    return a.keyword < b.keyword;
  }
  return a.country < b.country;
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
  return rank ? std::to_string(*rank) : "not in the top " + std::to_string(resultCount);
}

void sortRows(std::vector<TodayRow>& rows) {
  // Sorting positions, then moving each row once, is much cheaper than shuffling the rows themselves.
  std::vector<std::size_t> order(rows.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    order[i] = i;
  }
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return comesBefore(rows[a], rows[b]); });
  std::vector<TodayRow> sorted;
  sorted.reserve(rows.size());
  for (const auto i : order) {
    sorted.push_back(std::move(rows[i]));
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

TodayQueue buildTodayQueue(const store::TodaySnapshot& snapshot, const asokit::Calendar& calendar,
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

  std::unordered_map<std::int64_t, const store::TodaySnapshot::Keyword*> keywords;
  for (const auto& keyword : snapshot.keywords) {
    keywords.emplace(keyword.query.rowId.value, &keyword);
  }
  std::unordered_set<std::int64_t> unmeasuredInLastRun;
  for (const auto& outcome : snapshot.lastRunMisses) {
    const auto status = outcome.status();
    if (!outcome.query || !status || *status == store::RunOutcomeStatus::measured) {
      continue;
    }
    const auto found = keywords.find(outcome.query->value);
    if (found == keywords.end() || found->second->query.isPaused) {
      continue;  // deleted, moved out of the app, or paused since: not a failure to show
    }
    const auto& query = found->second->query;
    const auto* app = apps.count(query.app->value) ? apps.at(query.app->value) : nullptr;
    queue.notMeasured.push_back({query.rowId.value, query.keyword, query.country, app ? app->appStoreId : "",
                                 labelOf(query, app), *status, notMeasuredReason(*status, outcome.message)});
    unmeasuredInLastRun.insert(query.rowId.value);
  }

  bool markStillThere = false;
  for (const auto& keyword : snapshot.keywords) {
    const auto& query = keyword.query;
    const auto* app = apps.count(query.app->value) ? apps.at(query.app->value) : nullptr;
    if (!app) {
      continue;
    }
    if (query.isPaused || keyword.latest.empty()) {
      if (query.isPaused || !unmeasuredInLastRun.contains(query.rowId.value)) {
        auto& list = query.isPaused ? queue.paused : queue.notMeasuredYet;
        list.push_back({query.rowId.value, query, query.keyword, query.country, app->appStoreId, labelOf(query, app)});
      }
      continue;
    }
    const auto& latest = keyword.latest.back();
    TodayRow row;
    row.id = query.rowId.value;
    row.query = query;
    row.keyword = query.keyword;
    row.country = query.country;
    row.appStoreId = app->appStoreId;
    row.appLabel = labelOf(query, app);
    row.iconURL = icons[app->rowId.value];
    row.rank = latest.rank;
    row.resultCount = latest.resultCount;
    row.source = latest.source;
    row.measuredAt = latest.measuredAt;
    row.day = startOfDay(latest.day);
    std::vector<asokit::RankPoint> points;
    points.reserve(keyword.latest.size());
    for (const auto& reading : keyword.latest) {
      points.push_back({startOfDay(reading.day), reading.rank});
    }
    row.history = asokit::RankHistory(std::move(points));
    row.readingCount = keyword.readingCount;
    row.change = changeOf(row.history, keyword.readingCount);
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

}  // namespace tovra::measure
