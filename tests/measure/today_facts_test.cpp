#include "app/measure/today_facts.h"

#include <gtest/gtest.h>

#include "app/base/zoned_calendar.h"
#include "app/measure/today_board.h"
#include "app/store/run_writer.h"
#include "measure/seed.h"

namespace tovra::measure {
namespace {

using namespace std::chrono_literals;
using testing::localTime;
using Ranks = std::vector<std::optional<std::int64_t>>;
using Kind = DaySlot::Kind;

constexpr DaySlot kMissing{Kind::missing, 0};
constexpr DaySlot kOutside{Kind::outside, 0};
constexpr DaySlot ranked(std::int64_t rank) {
  return {Kind::ranked, rank};
}

asokit::WallTime dayNumber(int day) {
  return asokit::WallTime{std::chrono::hours{24 * day}};
}

std::vector<asokit::WallTime> fiveDays() {
  std::vector<asokit::WallTime> days;
  for (int day = 10; day < 15; ++day) {
    days.push_back(dayNumber(day));
  }
  return days;
}

struct SlotCase {
  const char* name;
  std::vector<std::pair<int, std::optional<std::int64_t>>> readings;  // day number, rank
  std::vector<DaySlot> expected;                                      // over days 10 to 14
};

TEST(DaySlots, EachDayHoldsItsOwnReadingAndAMissingDayStaysMissing) {
  const std::vector<SlotCase> cases = {
      {"every day read",
       {{10, 4}, {11, 5}, {12, 5}, {13, 3}, {14, 1}},
       {ranked(4), ranked(5), ranked(5), ranked(3), ranked(1)}},
      {"a gap is not filled from its neighbours",
       {{10, 4}, {11, 6}, {13, 8}, {14, 9}},
       {ranked(4), ranked(6), kMissing, ranked(8), ranked(9)}},
      {"outside the results is its own mark, not a rank",
       {{10, 4}, {11, std::nullopt}, {14, 2}},
       {ranked(4), kOutside, kMissing, kMissing, ranked(2)}},
      {"readings before and after the span are left out",
       {{8, 1}, {9, 2}, {12, 7}, {15, 1}},
       {kMissing, kMissing, ranked(7), kMissing, kMissing}},
      {"no readings at all", {}, {kMissing, kMissing, kMissing, kMissing, kMissing}},
  };
  for (const auto& c : cases) {
    std::vector<asokit::RankPoint> points;
    for (const auto& [day, rank] : c.readings) {
      points.push_back({dayNumber(day), rank});
    }
    EXPECT_EQ(daySlots(asokit::RankHistory(points), fiveDays()), c.expected) << c.name;
  }
}

struct MonthCase {
  const char* name;
  std::vector<DaySlot> expected;
  MonthChange change;
  std::string text;
};

TEST(MonthChange, ComparesTheFirstAndLastDayOnlyWhenBothWereRead) {
  const std::vector<MonthCase> cases = {
      {"rose from 9 to 4", {ranked(9), kMissing, ranked(4)}, {MonthChange::Kind::moved, 5}, "up 5"},
      {"dropped from 2 to 7", {ranked(2), ranked(1), ranked(7)}, {MonthChange::Kind::moved, -5}, "down 5"},
      {"the same rank", {ranked(3), ranked(8), ranked(3)}, {MonthChange::Kind::moved, 0}, "no change"},
      {"the first day missing", {kMissing, ranked(2), ranked(4)}, {MonthChange::Kind::missingDay, 0}, "—"},
      {"the last day missing", {ranked(2), ranked(2), kMissing}, {MonthChange::Kind::missingDay, 0}, "—"},
      {"outside the results at the start",
       {kOutside, ranked(2), ranked(4)},
       {MonthChange::Kind::unranked, 0},
       "not ranked"},
      {"outside the results at the end", {ranked(4), kOutside}, {MonthChange::Kind::unranked, 0}, "not ranked"},
      {"a single day", {ranked(4)}, {MonthChange::Kind::missingDay, 0}, "—"},
  };
  for (const auto& c : cases) {
    const auto change = monthChange(c.expected);
    EXPECT_EQ(change, c.change) << c.name;
    EXPECT_EQ(monthChangeText(change), c.text) << c.name;
  }
}

TEST(TodayTexts, BestRankAndSpanSummary) {
  EXPECT_EQ(bestRankText(3), "#3");
  EXPECT_EQ(bestRankText(std::nullopt), "never ranked");
  EXPECT_EQ(spanSummary({ranked(4), kMissing, ranked(2), ranked(6)}), "3 of 4 days read · best #2 · latest #6");
  EXPECT_EQ(spanSummary({ranked(4), kOutside}), "2 of 2 days read · best #4 · latest outside the results");
  EXPECT_EQ(spanSummary({kOutside, kMissing}), "1 of 2 days read · no reading on the last day");
  EXPECT_EQ(today_texts::groupHeading(today_texts::kPending, 3), "pending (3)");
}

TEST(SpanDays, CountsCalendarDaysAcrossAClockChange) {
  const base::ZonedCalendar calendar{"Europe/Berlin"};
  // 30 March 2025 has 23 hours in Berlin.
  const auto days = spanDays(calendar, localTime("Europe/Berlin", 2025, 3, 31, 15), 3);
  ASSERT_EQ(days.size(), 3u);
  EXPECT_EQ(days[0], localTime("Europe/Berlin", 2025, 3, 29));
  EXPECT_EQ(days[1], localTime("Europe/Berlin", 2025, 3, 30));
  EXPECT_EQ(days[2], localTime("Europe/Berlin", 2025, 3, 31));
}

// A store whose last run and newest readings were on 14 January, read three days later.
class TodayFactsBoard : public ::testing::Test {
 protected:
  void SetUp() override {
    app = seed.app("100", "Photo Lab");
    store::MeasurementRun run;
    run.startedAt = runDay + 9h;
    run.finishedAt = runDay + 9h + 10s;
    run.requestCount = 1;
    run.queryCount = 1;
    store::writeRun(*store, run, runDay, {}, calendar);
  }

  std::unique_ptr<store::Store> store = store::Store::inMemory();
  testing::Seed seed{*store};
  store::TrackedApp app;
  base::ZonedCalendar calendar{"Europe/Berlin"};
  asokit::WallTime runDay = localTime("Europe/Berlin", 2025, 1, 14);
  asokit::VirtualClock clock{localTime("Europe/Berlin", 2025, 1, 17, 8, 0)};
};

TEST_F(TodayFactsBoard, RowsCarryTheirMonthTheirChangeAcrossItAndTheBestRankEverKept) {
  const auto steady = seed.keyword(app, "photo editor", "us");
  Ranks ranks(60, 20);
  ranks[0] = 2;    // the best rank, long before the month shown
  ranks[29] = 9;   // 30 days before the last run's day
  ranks[59] = 12;  // the last run's day
  seed.readings(steady, ranks, runDay);
  const auto gappy = seed.keyword(app, "collage maker", "us");
  seed.readings(gappy, {5, 5, 5, 5, 5, 5, 5, 5}, runDay);  // nothing 30 days back
  const auto outside = seed.keyword(app, "retouch", "us");
  seed.readings(outside, Ranks(8, std::nullopt), runDay);

  TodayBoard board(*store, calendar, clock.wall());
  board.refresh();
  ASSERT_FALSE(board.row(steady.rowId.value)->bestRankRead) << "the queue comes before the best ranks";
  EXPECT_FALSE(board.readBestRanks(2));
  EXPECT_TRUE(board.readBestRanks(2));

  const auto& days = board.queue().days;
  ASSERT_EQ(days.size(), 31u);
  EXPECT_EQ(days.front(), calendar.addDays(runDay, -30));
  EXPECT_EQ(days.back(), runDay) << "the month ends with the newest reading's day, not with today";

  const auto* row = board.row(steady.rowId.value);
  ASSERT_TRUE(row);
  ASSERT_EQ(row->sparkline.size(), 31u);
  EXPECT_EQ(row->sparkline.front(), ranked(9));
  EXPECT_EQ(row->sparkline.back(), ranked(12));
  EXPECT_EQ(row->monthChange, (MonthChange{MonthChange::Kind::moved, -3}));
  EXPECT_EQ(row->bestRank, 2) << "the best rank of every kept reading, not only the month's";

  const auto* gap = board.row(gappy.rowId.value);
  ASSERT_TRUE(gap);
  EXPECT_EQ(gap->sparkline.front(), kMissing);
  EXPECT_EQ(monthChangeText(gap->monthChange), "—");
  EXPECT_EQ(gap->bestRank, 5);

  const auto* never = board.row(outside.rowId.value);
  ASSERT_TRUE(never);
  EXPECT_EQ(never->bestRank, std::nullopt);
  EXPECT_EQ(bestRankText(never->bestRank), "never ranked");

  // A better reading after the best was read counts at the next refresh, without reading every day again.
  seed.readings(outside, {3}, calendar.addDays(runDay, 1));
  board.refresh();
  const auto* ranked = board.row(outside.rowId.value);
  ASSERT_TRUE(ranked);
  EXPECT_TRUE(ranked->bestRankRead);
  EXPECT_EQ(ranked->bestRank, 3);
  EXPECT_TRUE(board.readBestRanks(10));
}

}  // namespace
}  // namespace tovra::measure
