#include "fixtures.h"

#include <chrono>

namespace tovra::store::testing {

using namespace std::chrono;

WallTime utc(int year, unsigned month, unsigned day, int hour, int minute, int second, int millis) {
  const sys_days date = std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day};
  return WallTime{duration_cast<WallTime::duration>(date.time_since_epoch() + hours{hour} + minutes{minute} +
                                                    seconds{second} + milliseconds{millis})};
}

TrackedApp makeApp(const std::string& appStoreId, const std::string& name) {
  TrackedApp app;
  app.appStoreId = appStoreId;
  app.displayName = name;
  app.developer = "Lab Works";
  app.addedAt = utc(2025, 1, 2, 10);
  return app;
}

TrackedQuery makeQuery(const std::string& keyword, const std::string& country, RecordId<TrackedApp> app) {
  TrackedQuery query;
  query.keyword = keyword;
  query.country = country;
  query.setProvenance(KeywordProvenance::typedByUser);
  query.addedAt = utc(2025, 1, 2, 11);
  query.app = app;
  return query;
}

TrackedQuery makeParkedQuery(const std::string& keyword, const std::string& country, RecordId<ResearchSpace> space) {
  TrackedQuery query = makeQuery(keyword, country, {});
  query.app.reset();
  query.space = space;
  return query;
}

ResearchSpace makeSpace(const std::string& id, const std::string& name) {
  ResearchSpace space;
  space.id = id;
  space.name = name;
  space.createdAt = utc(2025, 1, 3, 9);
  return space;
}

StoredObservation makeReading(RecordId<TrackedQuery> query, WallTime day, std::optional<std::int64_t> rank) {
  StoredObservation reading;
  reading.day = day;
  reading.measuredAt = day + hours{10};
  reading.rank = rank;
  reading.resultCount = 200;
  reading.source = "appstore";
  reading.query = query;
  return reading;
}

Linked insertLinked(Store& store) {
  Linked linked;
  linked.app = store.apps().insert(makeApp("1000000001"));
  linked.localization = store.localizations().insert(
      AppLocalization{{}, "de", "Fotolabor", "Lab Works", utc(2025, 1, 2, 10), linked.app.rowId});
  linked.query = store.queries().insert(makeQuery("photo editor", "us", linked.app.rowId));
  linked.observation = store.observations().insert(makeReading(linked.query.rowId, utc(2025, 1, 13, 23), 4));
  linked.mark =
      store.reviewMarks().insert(ReviewMark{{}, utc(2025, 1, 13, 23), utc(2025, 1, 14, 8), linked.query.rowId});
  linked.run = store.runs().insert(MeasurementRun{{}, utc(2025, 1, 14, 9), utc(2025, 1, 14, 9, 1), false, false, 1, 1});
  RunOutcome outcome;
  outcome.setStatus(RunOutcomeStatus::measured);
  outcome.run = linked.run.rowId;
  outcome.query = linked.query.rowId;
  outcome.observation = linked.observation.rowId;
  linked.outcome = store.outcomes().insert(outcome);
  linked.ladder = store.ladders().insertWithEntries(
      StoredLadder{{}, "photo editor", "us", utc(2025, 1, 14, 9, 5), 10, 200, "discover"},
      {LadderEntry{{}, 1, "1000000001", "Photo Lab", "Lab Works", std::nullopt, 1200, 4.5, std::nullopt}});
  linked.probe = store.probes().insertWithHints(HintProbe{{}, "pho", "us", utc(2025, 1, 14, 9, 6), "hints", true},
                                                {StoreHint{{}, 1, "photo editor", 3, std::nullopt}});
  return linked;
}

}  // namespace tovra::store::testing
