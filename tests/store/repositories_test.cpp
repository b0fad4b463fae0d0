#include "app/store/repositories.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include "app/base/zoned_calendar.h"
#include "app/store/store.h"
#include "app/store/store_error.h"
#include "app/store/today_reads.h"
#include "fixtures.h"

namespace tovra::store {
namespace {

using namespace std::chrono;
using testing::makeApp;
using testing::makeQuery;
using testing::makeReading;
using testing::utc;

class RepositoriesTest : public ::testing::Test {
 protected:
  std::unique_ptr<Store> store = Store::inMemory();
  TrackedApp app = store->apps().insert(makeApp("100"));
  TrackedQuery query = store->queries().insert(makeQuery("photo editor", "us", app.rowId));
};

TEST_F(RepositoriesTest, ASecondReadingOnTheSameCalendarDayUpdatesTheFirst) {
  const base::ZonedCalendar berlin("Europe/Berlin");
  const auto day = utc(2025, 1, 13, 23);  // local midnight of 14 January
  const auto first = store->observations().recordDay(makeReading(query.rowId, day, 7), berlin);
  ASSERT_TRUE(first.inserted);

  // The day given as a later instant of the same local day still finds the morning's reading.
  auto later = makeReading(query.rowId, utc(2025, 1, 14, 18), std::nullopt);
  later.measuredAt = utc(2025, 1, 14, 18, 0, 1);
  later.resultCount = 150;
  later.source = "check";
  const auto second = store->observations().recordDay(later, berlin);

  EXPECT_FALSE(second.inserted);
  EXPECT_EQ(second.observation.rowId, first.observation.rowId);
  const auto stored = store->observations().ofQuery(query.rowId);
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_EQ(stored[0].day, day) << "the day stays the day first written";
  EXPECT_EQ(stored[0].rank, std::nullopt);
  EXPECT_EQ(stored[0].resultCount, 150);
  EXPECT_EQ(stored[0].source, "check");
  EXPECT_EQ(stored[0].measuredAt, utc(2025, 1, 14, 18, 0, 1));
}

TEST_F(RepositoriesTest, ASecondReadingWithTheSameRankStillTakesTheOtherValues) {
  const base::ZonedCalendar utcCalendar("UTC");
  store->observations().recordDay(makeReading(query.rowId, utc(2025, 1, 14), 7), utcCalendar);
  auto again = makeReading(query.rowId, utc(2025, 1, 14, 20), 7);
  again.measuredAt = utc(2025, 1, 14, 20, 0, 1);
  again.resultCount = 180;
  again.source = "check";
  EXPECT_FALSE(store->observations().recordDay(again, utcCalendar).inserted);

  const auto stored = store->observations().ofQuery(query.rowId);
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_EQ(stored[0].rank, 7);
  EXPECT_EQ(stored[0].measuredAt, utc(2025, 1, 14, 20, 0, 1));
  EXPECT_EQ(stored[0].resultCount, 180);
  EXPECT_EQ(stored[0].source, "check");
  EXPECT_EQ(store->database().execAndGet("PRAGMA integrity_check").getString(), "ok");
}

TEST_F(RepositoriesTest, TheNextCalendarDayGetsItsOwnReadingAcrossAMissingMidnight) {
  // São Paulo skipped from 00:00 to 01:00 on 4 November 2018: that day started at 01:00 local time and
  // lasted 23 hours.
  const base::ZonedCalendar saoPaulo("America/Sao_Paulo");
  const auto sunday = saoPaulo.startOfDay(utc(2018, 11, 4, 12));
  ASSERT_EQ(sunday, utc(2018, 11, 4, 3));
  EXPECT_TRUE(store->observations().recordDay(makeReading(query.rowId, sunday, 3), saoPaulo).inserted);
  EXPECT_FALSE(store->observations().recordDay(makeReading(query.rowId, utc(2018, 11, 5, 1, 59), 4), saoPaulo).inserted)
      << "23:59 local on the 4th is still the short day";
  EXPECT_TRUE(store->observations().recordDay(makeReading(query.rowId, utc(2018, 11, 5, 2), 5), saoPaulo).inserted);
  EXPECT_EQ(store->observations().count(), 2);
}

TEST_F(RepositoriesTest, ADayThatSpansTwoPeriodsFindsItsReadingInEither) {
  // Readings are kept in eight-day periods counted in UTC; 16 January 2025 00:00 UTC starts one, in the
  // middle of Berlin's 16 January.
  const base::ZonedCalendar berlin("Europe/Berlin");
  const auto afterBoundary = utc(2025, 1, 16, 12);
  const auto localStart = berlin.startOfDay(afterBoundary);
  ASSERT_EQ(localStart, utc(2025, 1, 15, 23));
  ASSERT_TRUE(store->observations().recordDay(makeReading(query.rowId, afterBoundary, 4), berlin).inserted);

  EXPECT_FALSE(store->observations().recordDay(makeReading(query.rowId, localStart, 5), berlin).inserted);
  EXPECT_EQ(store->observations().count(), 1);
  EXPECT_EQ(store->observations().latestOf(query.rowId)->rank, 5);
}

TEST_F(RepositoriesTest, AKeywordsReadingsReadInDayOrderAcrossPeriods) {
  // Forty days span six periods; inserting them out of order leaves the rows in another order too.
  std::vector<int> days;
  for (int d = 0; d < 40; ++d) {
    days.push_back((d * 17) % 40);
  }
  for (const int d : days) {
    store->observations().insert(makeReading(query.rowId, utc(2025, 1, 1) + hours{24 * d}, d + 1));
  }
  const auto other = store->queries().insert(makeQuery("camera", "de", app.rowId));
  store->observations().insert(makeReading(other.rowId, utc(2025, 1, 20), 1));

  const auto readings = store->observations().ofQuery(query.rowId);
  ASSERT_EQ(readings.size(), 40u);
  for (std::size_t i = 0; i < readings.size(); ++i) {
    EXPECT_EQ(readings[i].day, utc(2025, 1, 1) + hours{24 * i});
  }
  EXPECT_EQ(store->observations().latestOf(query.rowId)->rank, 40);
  // The last day opens a period of its own, so the newest two come from two periods.
  // The recent days' readings come oldest first, across periods too.
  const auto today = readTodaySnapshot(*store, 3, utc(2025, 1, 31));
  ASSERT_EQ(today.keywords.size(), 2u);
  ASSERT_TRUE(today.keywords[0].newest && today.keywords[0].previous);
  EXPECT_EQ(today.keywords[0].previous->rank, 39);
  EXPECT_EQ(today.keywords[0].newest->rank, 40);
  EXPECT_EQ(today.keywords[0].newest->source, "appstore");
  EXPECT_EQ(today.keywords[0].readingCount, 3);
  ASSERT_EQ(today.keywords[0].recent.size(), 10u);
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(today.keywords[0].recent[i].day, utc(2025, 1, 31) + hours{24 * i});
    EXPECT_EQ(today.keywords[0].recent[i].rank, static_cast<std::int64_t>(31 + i));
  }
  EXPECT_EQ(today.keywords[1].recent.size(), 0u) << "its one reading is older";

  // Moved to a day of another period, a reading is read there.
  auto moved = readings[3];
  moved.day = utc(2025, 3, 1);
  store->observations().update(moved);
  EXPECT_EQ(store->observations().latestOf(query.rowId)->rowId, moved.rowId);
  EXPECT_EQ(store->observations().ofQuery(query.rowId).size(), 40u);
}

TEST_F(RepositoriesTest, AReadingWithoutAKeywordIsRefused) {
  const base::ZonedCalendar utcCalendar("UTC");
  auto reading = makeReading(query.rowId, utc(2025, 1, 1), 1);
  reading.query.reset();
  EXPECT_THROW(store->observations().recordDay(reading, utcCalendar), StoreError);
}

TEST_F(RepositoriesTest, LatestReadingsComeOnePerKeyword) {
  const auto other = store->queries().insert(makeQuery("camera", "de", app.rowId));
  store->observations().insert(makeReading(query.rowId, utc(2025, 1, 2), 9));
  store->observations().insert(makeReading(query.rowId, utc(2025, 1, 4), 5));
  store->observations().insert(makeReading(query.rowId, utc(2025, 1, 3), 7));
  store->observations().insert(makeReading(other.rowId, utc(2025, 1, 1), std::nullopt));

  const auto latest = store->observations().latestPerQuery();
  ASSERT_EQ(latest.size(), 2u);
  EXPECT_EQ(latest[0].query, query.rowId);
  EXPECT_EQ(latest[0].rank, 5);
  EXPECT_EQ(latest[1].query, other.rowId);
  EXPECT_EQ(latest[1].rank, std::nullopt);
  EXPECT_EQ(store->observations().latestOf(query.rowId)->day, utc(2025, 1, 4));
}

TEST_F(RepositoriesTest, OnlyUnpausedKeywordsOfAnAppAreMeasurable) {
  auto paused = makeQuery("paused", "us", app.rowId);
  paused.isPaused = true;
  store->queries().insert(paused);
  const auto space = store->spaces().insert(testing::makeSpace("0E984725-C51C-4BF4-9960-E1C80E27ABA0"));
  store->queries().insert(testing::makeParkedQuery("parked", "us", space.rowId));

  const auto measurable = store->queries().measurable();
  ASSERT_EQ(measurable.size(), 1u);
  EXPECT_EQ(measurable[0].keyword, "photo editor");
  EXPECT_EQ(store->queries().ofSpace(space.rowId).size(), 1u);
}

TEST_F(RepositoriesTest, AnAppsKeywordsComeInCodePointOrder) {
  store->queries().insert(makeQuery("Zebra", "us", app.rowId));
  store->queries().insert(makeQuery("apple", "us", app.rowId));
  store->queries().insert(makeQuery("apple", "de", app.rowId));
  std::vector<std::string> order;
  for (const auto& q : store->queries().ofApp(app.rowId)) {
    order.push_back(q.keyword + "|" + q.country);
  }
  EXPECT_EQ(order, (std::vector<std::string>{"Zebra|us", "apple|de", "apple|us", "photo editor|us"}));
}

TEST_F(RepositoriesTest, SavedSearchesAndProbesComeNewestFirstForTheirKeyword) {
  const auto older = store->ladders().insertWithEntries(
      StoredLadder{{}, "maps", "us", utc(2025, 1, 1), 10, 50, "discover"},
      {LadderEntry{{}, 2, "2", "B", "b", {}, {}, {}, {}}, LadderEntry{{}, 1, "1", "A", "a", {}, {}, {}, {}}});
  const auto newer =
      store->ladders().insertWithEntries(StoredLadder{{}, "maps", "us", utc(2025, 1, 2), 10, 50, "discover"}, {});
  store->ladders().insertWithEntries(StoredLadder{{}, "maps", "de", utc(2025, 1, 3), 10, 50, "discover"}, {});

  const auto found = store->ladders().forKeyword("maps", "us");
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].rowId, newer.ladder.rowId);
  EXPECT_EQ(found[1].rowId, older.ladder.rowId);
  const auto entries = store->ladderEntries().ofLadder(older.ladder.rowId);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].position, 1);
  EXPECT_EQ(entries[0].ladder, older.ladder.rowId);

  store->probes().insertWithHints(HintProbe{{}, "ma", "us", utc(2025, 1, 1), "hints", false},
                                  {StoreHint{{}, 1, "maps", std::nullopt, {}}});
  const auto probes = store->probes().forPrefix("ma", "us");
  ASSERT_EQ(probes.size(), 1u);
  EXPECT_EQ(store->hints().ofProbe(probes[0].rowId)[0].term, "maps");
}

TEST_F(RepositoriesTest, ChangingARecordThatIsGoneSaysSo) {
  auto gone = query;
  store->queries().remove(query.rowId);
  gone.isPaused = true;
  try {
    store->queries().update(gone);
    FAIL();
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Kind::notFound);
  }
  EXPECT_THROW(store->queries().get(query.rowId), StoreError);
  EXPECT_NO_THROW(store->queries().remove(query.rowId));
}

}  // namespace
}  // namespace tovra::store
