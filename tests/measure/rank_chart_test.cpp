#include "app/measure/rank_chart.h"

#include <gtest/gtest.h>

#include "app/base/zoned_calendar.h"
#include "app/measure/measured_days.h"
#include "measure/seed.h"

namespace tovra::measure {
namespace {

using testing::localTime;
using Ranks = std::vector<std::vector<std::int64_t>>;

struct Reading {
  int day;  // of March 2025, Berlin
  std::optional<std::int64_t> rank;
  int hour = 9;
};

struct ChartCase {
  std::string name;
  std::vector<Reading> readings;
  Ranks lines;
  std::size_t outsideDays;
  std::int64_t deepest;
};

class RankChartTest : public ::testing::TestWithParam<ChartCase> {};

TEST_P(RankChartTest, LinesJoinOnlyConsecutiveDaysWithARank) {
  const base::ZonedCalendar berlin{"Europe/Berlin"};
  std::vector<asokit::RankPoint> points;
  for (const auto& reading : GetParam().readings) {
    points.push_back(
        {localTime("Europe/Berlin", 2025, 3, static_cast<unsigned>(reading.day), reading.hour), reading.rank});
  }
  const auto chart = rankChart(asokit::RankHistory(points).dayRuns(berlin), {}, berlin);
  Ranks lines;
  for (const auto& line : chart.lines) {
    lines.emplace_back();
    for (const auto& point : line) {
      lines.back().push_back(point.rank);
    }
  }
  EXPECT_EQ(lines, GetParam().lines);
  EXPECT_EQ(chart.outsideDays.size(), GetParam().outsideDays);
  EXPECT_EQ(chart.deepestRank, GetParam().deepest);
}

INSTANTIATE_TEST_SUITE_P(
    Readings, RankChartTest,
    ::testing::Values(ChartCase{"consecutiveDays", {{1, 5}, {2, 4}, {3, 3}}, {{5, 4, 3}}, 0, 5},
                      ChartCase{"missingDayIsAGap", {{1, 5}, {2, 4}, {4, 3}}, {{5, 4}, {3}}, 0, 5},
                      ChartCase{"outsideDayBreaksTheLine", {{1, 5}, {2, std::nullopt}, {3, 30}}, {{5}, {30}}, 1, 30},
                      ChartCase{"onlyOutside", {{1, std::nullopt}, {2, std::nullopt}}, {}, 2, 0},
                      ChartCase{"sameDayRepeatStartsAnotherLine", {{1, 5, 8}, {1, 6, 20}, {2, 7}}, {{5}, {6, 7}}, 0, 7},
                      // The clocks went forward on 30 March: a 23-hour day is still the next day.
                      ChartCase{"shortDayDoesNotBreak", {{29, 12}, {30, 11}, {31, 10}}, {{12, 11, 10}}, 0, 12},
                      ChartCase{"lateAndEarlyReadingsOfNextDays", {{1, 2, 23}, {2, 3, 0}}, {{2, 3}}, 0, 3}),
    [](const auto& info) { return info.param.name; });

TEST(RankChartReleases, OnlyReleasesWithinTheChartedDaysAreMarkedOldestFirst) {
  const base::ZonedCalendar berlin{"Europe/Berlin"};
  const auto day = [](unsigned d, int hour = 12) { return localTime("Europe/Berlin", 2025, 3, d, hour); };
  const std::vector<asokit::RankPoint> points{{day(3), 4}, {day(4), 5}, {day(9), 6}};
  const std::vector<store::AppRelease> releases{
      {"1", "2.0", day(9, 23), day(10)}, {"1", "0.9", day(2, 23), day(2)},   // the evening before the first day
      {"1", "1.5", day(5, 1), day(6)},   {"1", "3.0", day(10, 0), day(10)},  // the day after the last
      {"1", "1.0", day(3, 0), day(3)},
  };
  const auto chart = rankChart(asokit::RankHistory(points).dayRuns(berlin), releases, berlin);
  std::vector<std::string> versions;
  for (const auto& release : chart.releases) {
    versions.push_back(release.version);
  }
  EXPECT_EQ(versions, (std::vector<std::string>{"1.0", "1.5", "2.0"}));
  EXPECT_EQ(chart.firstDay, localTime("Europe/Berlin", 2025, 3, 3));
  EXPECT_EQ(chart.lastDay, localTime("Europe/Berlin", 2025, 3, 9));
}

TEST(RankChartReleases, AChartWithoutReadingsMarksNoRelease) {
  const base::ZonedCalendar berlin{"Europe/Berlin"};
  const auto chart = rankChart({}, {{"1", "1.0", localTime("Europe/Berlin", 2025, 3, 3), {}}}, berlin);
  EXPECT_TRUE(chart.releases.empty());
  EXPECT_FALSE(chart.firstDay);
}

TEST(RankAxis, TheBottomIsTheDeepestRankRoundedUpToARoundNumber) {
  const std::vector<std::pair<std::int64_t, std::int64_t>> cases{{0, 10},    {1, 10},    {10, 10},   {11, 20},
                                                                 {20, 20},   {21, 50},   {51, 100},  {101, 200},
                                                                 {200, 200}, {201, 500}, {999, 1000}};
  for (const auto& [deepest, bottom] : cases) {
    EXPECT_EQ(rankAxisBottom(deepest), bottom) << deepest;
  }
}

TEST(CompareOnKeyword, EveryTrackedAppOnTheKeywordInTheCountryYoursFirst) {
  auto store = store::Store::inMemory();
  testing::Seed seed(*store);
  auto rival = seed.app("200", "Snapshot");
  auto mine = seed.app("100", "Lumen");
  mine.isMine = true;
  store->apps().update(mine);
  const auto other = seed.app("300", "Alpha");
  const auto mineQuery = seed.keyword(mine, "photo editor", "us");
  seed.keyword(rival, "Photo  Editor", "us");
  seed.keyword(other, "photo editor", "de");
  seed.readings(mineQuery, {9, std::nullopt, 4}, localTime("Europe/Berlin", 2025, 3, 12));
  const base::ZonedCalendar berlin{"Europe/Berlin"};

  const auto compared = compareOnKeyword(*store, "PHOTO editor", " US", berlin);
  ASSERT_EQ(compared.size(), 2u);
  EXPECT_EQ(compared[0].app.appStoreId, "100");
  EXPECT_EQ(compared[0].latestRank, 4);
  EXPECT_EQ(compared[0].chart.lines.size(), 2u);
  EXPECT_EQ(compared[0].chart.outsideDays.size(), 1u);
  EXPECT_EQ(compared[1].app.appStoreId, "200");
  EXPECT_FALSE(compared[1].measured);
}

TEST(MeasuredDays, EachRunCountsItsRankedOutsideFailedAndSkippedKeywords) {
  auto store = store::Store::inMemory();
  testing::Seed seed(*store);
  const auto app = seed.app("100", "Lumen");
  std::vector<store::TrackedQuery> queries;
  for (const auto* keyword : {"a", "b", "c", "d", "e"}) {
    queries.push_back(seed.keyword(app, keyword, "us"));
  }
  const auto day = localTime("Europe/Berlin", 2025, 3, 12);
  const auto first = store->runs().insert({{}, day, day + std::chrono::minutes(1), false, false, 4, 5});
  const auto second = store->runs().insert({{}, day + std::chrono::hours(30), std::nullopt, true, false, 3, 5});
  const auto reading = [&](std::size_t q, std::optional<std::int64_t> rank) {
    return store->observations().insert({{}, day, day, rank, 200, "run", queries[q].rowId});
  };
  const auto outcome = [&](const store::MeasurementRun& run, std::size_t q, const char* status,
                           std::optional<store::StoredObservation> observation) {
    store->outcomes().insert({{},
                              status,
                              std::nullopt,
                              run.rowId,
                              queries[q].rowId,
                              observation ? std::optional(observation->rowId) : std::nullopt});
  };
  outcome(first, 0, "measured", reading(0, 3));
  outcome(first, 1, "measured", reading(1, 12));
  outcome(first, 2, "measured", reading(2, std::nullopt));
  outcome(first, 3, "failed", std::nullopt);
  outcome(second, 4, "skipped", std::nullopt);

  const auto days = measuredDays(*store);
  ASSERT_EQ(days.size(), 2u);
  EXPECT_EQ(days[0].tally.run.rowId, second.rowId) << "started last first";
  EXPECT_EQ(days[0].ending, RunReport::Ending::halted);
  EXPECT_EQ(tallyText(days[0].tally), "0 ranked · 0 outside · 0 failed · 1 skipped");
  EXPECT_EQ(tallyText(days[1].tally), "2 ranked · 1 outside · 1 failed");
  EXPECT_EQ(requestsText(days[1].tally.run.requestCount), "4 requests");
  EXPECT_EQ(requestsText(1), "1 request");
  EXPECT_EQ(archiveSummary(days), "2 runs · 1 halted");
  EXPECT_EQ(archiveSummary({}), archiveText::kNoRunsYet);
}

}  // namespace
}  // namespace tovra::measure
