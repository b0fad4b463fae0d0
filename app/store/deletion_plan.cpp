// Building a deletion plan: which records go with a subject, and what stays although it touches it.

#include "app/store/deletion_plan.h"

#include <algorithm>
#include <map>
#include <set>

#include "app/base/keyword_key.h"
#include "app/store/reading_periods.h"
#include "app/store/sql.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace {

constexpr const char* kReading = "reading the store";

// Row ids only: a plan for an app with years of readings must not load every reading's fields.
template <class Record>
std::vector<RecordId<Record>> rowsWhere(Store& store, const std::string& sql, std::int64_t parameter) {
  return guarded(kReading, [&] {
    std::vector<RecordId<Record>> rows;
    Prepared statement(store, sql);
    statement->bind(1, parameter);
    while (statement->executeStep()) {
      rows.push_back(RecordId<Record>{statement->getColumn(0).getInt64()});
    }
    return rows;
  });
}

std::int64_t outcomesOfRun(Store& store, RecordId<MeasurementRun> run) {
  return guarded(kReading, [&] {
    Prepared statement(store, "SELECT count(*) FROM RunOutcome WHERE run = ?");
    statement->bind(1, run.value);
    statement->executeStep();
    return statement->getColumn(0).getInt64();
  });
}

template <class Id>
void append(std::vector<Id>& to, const std::vector<Id>& more) {
  to.insert(to.end(), more.begin(), more.end());
}

// The keywords' readings, review marks and run outcomes, and the runs that covered nothing else.
void addHistory(Store& store, DeletionPlan& plan) {
  std::map<std::int64_t, std::int64_t> planOutcomesPerRun;
  for (const auto query : plan.queries) {
    append(plan.observations,
           rowsWhere<StoredObservation>(
               store, "SELECT o.pk FROM " + std::string(periods::kReadingsOfQuery) + " ORDER BY o.pk", query.value));
    append(plan.reviewMarks,
           rowsWhere<ReviewMark>(store, "SELECT pk FROM ReviewMark WHERE query = ? ORDER BY pk", query.value));
    for (const auto& outcome : store.outcomes().ofQuery(query)) {
      plan.outcomes.push_back(outcome.rowId);
      if (outcome.run) {
        ++planOutcomesPerRun[outcome.run->value];
      }
    }
  }
  for (const auto& [run, inPlan] : planOutcomesPerRun) {
    const RecordId<MeasurementRun> id{run};
    if (outcomesOfRun(store, id) == inPlan) {
      plan.runs.push_back(id);
    } else {
      ++plan.keptRuns;
    }
  }
}

// Saved searches and hint probes are matched by the keyword key, as every duplicate test is, so a
// search saved as "Photo  Editor" still counts as the keyword "photo editor"'s.
void countKept(Store& store, DeletionPlan& plan, const std::vector<TrackedQuery>& queries) {
  std::map<std::string, std::set<std::string>> keysByCountry;
  for (const auto& query : queries) {
    keysByCountry[base::normalizedCountry(query.country)].insert(base::keywordKey(query.keyword));
  }
  for (const auto& [country, keys] : keysByCountry) {
    for (const auto& ladder : store.ladders().inCountry(country)) {
      plan.keptLadders += keys.contains(base::keywordKey(ladder.keyword)) ? 1 : 0;
    }
    for (const auto& probe : store.probes().inCountry(country)) {
      plan.keptProbes += keys.contains(base::keywordKey(probe.prefix)) ? 1 : 0;
    }
  }
}

void addQueries(Store& store, DeletionPlan& plan, const std::vector<TrackedQuery>& queries) {
  for (const auto& query : queries) {
    plan.queries.push_back(query.rowId);
  }
  addHistory(store, plan);
  countKept(store, plan, queries);
}

template <class Id>
std::vector<Id> sorted(std::vector<Id> ids) {
  std::sort(ids.begin(), ids.end());
  return ids;
}

template <class Id>
bool sameIds(const std::vector<Id>& a, const std::vector<Id>& b) {
  return a.size() == b.size() && sorted(a) == sorted(b);
}

}  // namespace

DeletionPlan DeletionPlan::forApp(Store& store, const TrackedApp& app) {
  Transaction snapshot(store, Transaction::Mode::read);
  const auto stored = store.apps().get(app.rowId);
  DeletionPlan plan{AppSubject{stored.displayName}};
  plan.apps.push_back(stored.rowId);
  for (const auto& localization : store.localizations().ofApp(stored.rowId)) {
    plan.localizations.push_back(localization.rowId);
  }
  addQueries(store, plan, store.queries().ofApp(stored.rowId));
  snapshot.commit();
  return plan;
}

DeletionPlan DeletionPlan::forQuery(Store& store, const TrackedQuery& query) {
  Transaction snapshot(store, Transaction::Mode::read);
  const auto stored = store.queries().get(query.rowId);
  DeletionPlan plan{QuerySubject{stored.keyword, stored.country}};
  addQueries(store, plan, {stored});
  snapshot.commit();
  return plan;
}

DeletionPlan DeletionPlan::forSpace(Store& store, const ResearchSpace& space) {
  Transaction snapshot(store, Transaction::Mode::read);
  const auto stored = store.spaces().get(space.rowId);
  SpaceSubject subject{stored.name, std::nullopt};
  // Named only while that app is still tracked: the explanation promises the keywords stay with it.
  if (stored.promotedToAppStoreId) {
    if (const auto app = store.apps().findByAppStoreId(*stored.promotedToAppStoreId)) {
      subject.graduatedTo = app->displayName;
    }
  }
  DeletionPlan plan{std::move(subject)};
  plan.spaces.push_back(stored.rowId);
  addQueries(store, plan, store.queries().ofSpace(stored.rowId));
  snapshot.commit();
  return plan;
}

DeletionPlan DeletionPlan::forEverything(Store& store) {
  Transaction snapshot(store, Transaction::Mode::read);
  DeletionPlan plan{EverythingSubject{}};
  plan.apps = store.apps().allIds();
  plan.localizations = store.localizations().allIds();
  plan.spaces = store.spaces().allIds();
  plan.queries = store.queries().allIds();
  plan.observations = store.observations().allIds();
  plan.reviewMarks = store.reviewMarks().allIds();
  plan.outcomes = store.outcomes().allIds();
  plan.runs = store.runs().allIds();
  plan.ladders = store.ladders().allIds();
  plan.ladderEntries = store.ladderEntries().allIds();
  plan.probes = store.probes().allIds();
  plan.hints = store.hints().allIds();
  snapshot.commit();
  return plan;
}

DeletionPlan DeletionPlan::reread(Store& store) const {
  const auto first = [](const auto& ids) {
    if (ids.empty()) {
      throw StoreError(StoreError::Kind::notFound, "The record is no longer in the store.");
    }
    return ids.front();
  };
  if (std::holds_alternative<AppSubject>(subject)) {
    return forApp(store, store.apps().get(first(apps)));
  }
  if (std::holds_alternative<QuerySubject>(subject)) {
    return forQuery(store, store.queries().get(first(queries)));
  }
  if (std::holds_alternative<SpaceSubject>(subject)) {
    return forSpace(store, store.spaces().get(first(spaces)));
  }
  return forEverything(store);
}

bool DeletionPlan::listsSameRecords(const DeletionPlan& other) const {
  return sameIds(apps, other.apps) && sameIds(localizations, other.localizations) && sameIds(spaces, other.spaces) &&
         sameIds(queries, other.queries) && sameIds(observations, other.observations) &&
         sameIds(reviewMarks, other.reviewMarks) && sameIds(outcomes, other.outcomes) && sameIds(runs, other.runs) &&
         sameIds(ladders, other.ladders) && sameIds(ladderEntries, other.ladderEntries) &&
         sameIds(probes, other.probes) && sameIds(hints, other.hints);
}

bool DeletionPlan::listsNothing() const {
  return apps.empty() && localizations.empty() && spaces.empty() && queries.empty() && observations.empty() &&
         reviewMarks.empty() && outcomes.empty() && runs.empty() && ladders.empty() && ladderEntries.empty() &&
         probes.empty() && hints.empty();
}

}  // namespace tovra::store
