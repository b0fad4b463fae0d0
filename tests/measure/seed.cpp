#include "measure/seed.h"

#include <date/tz.h>

#include "app/base/zoned_calendar.h"

namespace tovra::measure::testing {

asokit::WallTime localTime(const std::string& zone, int year, unsigned month, unsigned day, int hour, int minute,
                           int second) {
  const auto local = date::local_days{date::year{year} / date::month{month} / date::day{day}} +
                     std::chrono::hours{hour} + std::chrono::minutes{minute} + std::chrono::seconds{second};
  const auto zoned = date::locate_zone(zone)->to_sys(local, date::choose::earliest);
  return asokit::WallTime{std::chrono::duration_cast<asokit::WallTime::duration>(zoned.time_since_epoch())};
}

store::TrackedApp Seed::app(const std::string& appStoreId, const std::string& name) {
  store::TrackedApp app;
  app.appStoreId = appStoreId;
  app.displayName = name.empty() ? "App " + appStoreId : name;
  app.developer = "Developer";
  app.addedAt = asokit::WallTime{std::chrono::seconds{1'600'000'000}};
  return store_.apps().insert(app);
}

void Seed::localization(const store::TrackedApp& app, const std::string& country, const std::string& name) {
  store::AppLocalization localization;
  localization.country = country;
  localization.name = name;
  localization.developer = app.developer;
  localization.fetchedAt = app.addedAt;
  localization.app = app.rowId;
  store_.localizations().insert(localization);
}

store::TrackedQuery Seed::keyword(const store::TrackedApp& app, const std::string& keyword, const std::string& country,
                                  bool paused) {
  store::TrackedQuery query;
  query.keyword = keyword;
  query.country = country;
  query.setProvenance(store::KeywordProvenance::typedByUser);
  query.addedAt = app.addedAt;
  query.isPaused = paused;
  query.app = app.rowId;
  return store_.queries().insert(query);
}

store::TrackedQuery Seed::parked(const std::string& keyword, const std::string& country) {
  store::ResearchSpace space;
  space.id = "00000000-0000-4000-8000-" + std::string(11, '0') + std::to_string(++spaces_);
  space.name = "Ideas";
  space.createdAt = asokit::WallTime{std::chrono::seconds{1'600'000'000}};
  const auto stored = store_.spaces().insert(space);
  store::TrackedQuery query;
  query.keyword = keyword;
  query.country = country;
  query.setProvenance(store::KeywordProvenance::typedByUser);
  query.addedAt = space.createdAt;
  query.space = stored.rowId;
  return store_.queries().insert(query);
}

void Seed::readings(const store::TrackedQuery& query, const std::vector<std::optional<std::int64_t>>& ranks,
                    asokit::WallTime lastDay, const std::string& zone) {
  const base::ZonedCalendar calendar(zone);
  const auto count = static_cast<int>(ranks.size());
  for (int i = 0; i < count; ++i) {
    const auto day = calendar.addDays(lastDay, i - count + 1);
    store::StoredObservation reading;
    reading.day = day;
    reading.measuredAt = day + std::chrono::hours{9};
    reading.rank = ranks[static_cast<std::size_t>(i)];
    reading.resultCount = 200;
    reading.source = "appstore";
    reading.query = query.rowId;
    store_.observations().insert(reading);
  }
}

}  // namespace tovra::measure::testing
