#include <gtest/gtest.h>

#include "app/base/zoned_calendar.h"
#include "app/measure/today_board.h"
#include "app/measure/today_queue.h"
#include "app/store/review_writer.h"
#include "app/store/run_writer.h"
#include "measure/seed.h"

namespace tovra::measure {
namespace {

using namespace std::chrono_literals;
using testing::localTime;
using Ranks = std::vector<std::optional<std::int64_t>>;

asokit::RankHistory historyOf(const Ranks& ranks) {
  std::vector<asokit::RankPoint> points;
  for (std::size_t i = 0; i < ranks.size(); ++i) {
    points.push_back({asokit::WallTime{std::chrono::hours{24 * static_cast<int>(i)}}, ranks[i]});
  }
  return asokit::RankHistory(points);
}

TEST(TodayChange, FromTheHistory) {
  struct Case {
    std::string name;
    Ranks ranks;
    TodayChange change;
  };
  const auto none = std::nullopt;
  for (const auto& c :
       std::vector<Case>{{"six readings claim nothing yet", {20, 18, 15, 12, 9, 3}, TodayChange::accumulating(6)},
                         {"one reading", {4}, TodayChange::accumulating(1)},
                         {"a drop", {1, 1, 1, 1, 1, 10, 12}, TodayChange::dropped(2)},
                         {"a rise", {1, 1, 1, 1, 1, 12, 10}, TodayChange::rose(2)},
                         {"held", {1, 1, 1, 1, 1, 10, 10}, TodayChange::held()},
                         {"outside the results after a rank", {1, 1, 1, 1, 1, 4, none}, TodayChange::unknown()},
                         {"a rank after outside", {1, 1, 1, 1, 1, none, 4}, TodayChange::unknown()},
                         {"only the last two count", {1, none, 1, 1, 1, 5, 2}, TodayChange::rose(3)}}) {
    EXPECT_EQ(changeOf(historyOf(c.ranks)), c.change) << c.name;
  }
}

TodayRow row(const std::string& keyword, TodayChange change, std::optional<std::int64_t> rank,
             const std::string& country = "us") {
  TodayRow r;
  r.keyword = keyword;
  r.country = country;
  r.change = change;
  r.rank = rank;
  return r;
}

std::vector<std::string> order(std::vector<TodayRow> rows) {
  sortRows(rows);
  std::vector<std::string> names;
  for (const auto& r : rows) {
    names.push_back(r.keyword + "/" + r.country);
  }
  return names;
}

TEST(TodayQueue, RowOrder) {
  const auto none = std::nullopt;
  EXPECT_EQ(order({row("held-b", TodayChange::held(), 4), row("acc-5", TodayChange::accumulating(5), 1),
                   row("rose-1", TodayChange::rose(1), 9), row("unknown", TodayChange::unknown(), none),
                   row("drop-2", TodayChange::dropped(2), 3), row("acc-2", TodayChange::accumulating(2), 8),
                   row("rose-7", TodayChange::rose(7), 30), row("drop-5", TodayChange::dropped(5), 40),
                   row("held-a", TodayChange::held(), 2)}),
            (std::vector<std::string>{"drop-5/us", "drop-2/us", "rose-7/us", "rose-1/us", "unknown/us", "acc-2/us",
                                      "acc-5/us", "held-a/us", "held-b/us"}));
  // Inside a group: rank ascending with no rank last, then keyword by code points, then country.
  EXPECT_EQ(order({row("b", TodayChange::held(), none), row("b", TodayChange::held(), 3, "us"),
                   row("b", TodayChange::held(), 3, "gb"), row("a", TodayChange::held(), none),
                   row("éclair", TodayChange::held(), 3), row("Zebra", TodayChange::held(), 3),
                   row("zebra", TodayChange::held(), 3)}),
            (std::vector<std::string>{"Zebra/us", "b/gb", "b/us", "zebra/us", "éclair/us", "a/us", "b/us"}));
  // Equal rows keep their order.
  auto first = row("same", TodayChange::unknown(), none);
  first.id = 1;
  auto second = first;
  second.id = 2;
  std::vector<TodayRow> rows{first, second};
  sortRows(rows);
  EXPECT_EQ(rows[0].id, 1);
}

TEST(TodayQueue, NotMeasuredReasons) {
  using store::RunOutcomeStatus;
  EXPECT_EQ(notMeasuredReason(RunOutcomeStatus::failed, std::nullopt), "the App Store did not answer");
  EXPECT_EQ(notMeasuredReason(RunOutcomeStatus::failed, "HTTP 500 — https://x"), "HTTP 500 — https://x");
  EXPECT_EQ(notMeasuredReason(RunOutcomeStatus::skipped, std::nullopt), "the run ended before this query");
  EXPECT_EQ(notMeasuredReason(RunOutcomeStatus::skipped, "you stopped the run before this query"),
            "you stopped the run before this query");
}

TEST(TodayQueue, SummaryLine) {
  TodayQueue queue;
  EXPECT_EQ(summaryLine(queue), "0 keywords");
  queue.pending.push_back(row("a", TodayChange::accumulating(2), 1));
  EXPECT_EQ(summaryLine(queue), "1 keyword");
  queue.pending.push_back(row("b", TodayChange::dropped(2), 1));
  queue.reviewed.push_back(row("c", TodayChange::rose(1), 1));
  queue.pending.push_back(row("d", TodayChange::unknown(), std::nullopt));
  queue.held.push_back(row("e", TodayChange::held(), 1));
  queue.notMeasured.push_back({});
  queue.notMeasured.push_back({});
  EXPECT_EQ(summaryLine(queue), "5 keywords · 2 moved · 1 change unknown · 1 held · 2 not measured");
}

// A store after a run on 14 January, read back as the queue.
class TodayBoardTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto app = seed.app("100", "Photo Lab");
    seed.localization(app, "us", "Photo Lab: Editor");
    dropping = seed.keyword(app, "photo editor", "us");
    young = seed.keyword(app, "collage maker", "us");
    steady = seed.keyword(app, "photo filters", "us");
    fresh = seed.keyword(app, "retouch", "us");
    paused = seed.keyword(app, "vintage camera", "us", true);
    failing = seed.keyword(app, "selfie", "us");
    seed.parked("travel journal", "us");
    seed.readings(dropping, {3, 3, 3, 3, 3, 4, 9}, today);
    seed.readings(young, {12, 10}, today);
    seed.readings(steady, {5, 5, 5, 5, 5, 5, 5, 5}, today);
    seed.readings(paused, {30}, today);

    store::MeasurementRun run;
    run.startedAt = today + 9h;
    run.finishedAt = today + 9h + 10s;
    run.requestCount = 4;
    run.queryCount = 4;
    store::writeRun(*store, run, today,
                    {{dropping.rowId, store::RunOutcomeStatus::measured, std::nullopt, 9, 200, "appstore"},
                     {young.rowId, store::RunOutcomeStatus::measured, std::nullopt, 10, 200, "appstore"},
                     {steady.rowId, store::RunOutcomeStatus::measured, std::nullopt, 5, 200, "appstore"},
                     {failing.rowId, store::RunOutcomeStatus::failed, std::nullopt, std::nullopt, 0, ""}},
                    calendar);
  }

  std::unique_ptr<store::Store> store = store::Store::inMemory();
  testing::Seed seed{*store};
  base::ZonedCalendar calendar{"Europe/Berlin"};
  asokit::WallTime today = localTime("Europe/Berlin", 2025, 1, 14);
  asokit::VirtualClock clock{localTime("Europe/Berlin", 2025, 1, 14, 20, 0)};
  store::TrackedQuery dropping, young, steady, fresh, paused, failing;
};

std::vector<std::string> keywordsOf(const std::vector<TodayRow>& rows) {
  std::vector<std::string> keywords;
  for (const auto& r : rows) {
    keywords.push_back(r.keyword);
  }
  return keywords;
}

TEST_F(TodayBoardTest, GroupsEveryKeywordOfAnApp) {
  TodayBoard board(*store, calendar, clock.wall());
  board.refresh();
  const auto& queue = board.queue();
  EXPECT_EQ(keywordsOf(queue.pending), (std::vector<std::string>{"photo editor", "collage maker"}));
  EXPECT_EQ(keywordsOf(queue.held), (std::vector<std::string>{"photo filters"}));
  EXPECT_TRUE(queue.reviewed.empty());
  ASSERT_EQ(queue.notMeasured.size(), 1u);
  EXPECT_EQ(queue.notMeasured[0].keyword, "selfie");
  EXPECT_EQ(queue.notMeasured[0].reason, "the App Store did not answer");
  ASSERT_EQ(queue.notMeasuredYet.size(), 1u);
  EXPECT_EQ(queue.notMeasuredYet[0].keyword, "retouch");
  ASSERT_EQ(queue.paused.size(), 1u);
  EXPECT_EQ(queue.paused[0].keyword, "vintage camera");
  EXPECT_EQ(queue.day, today);
  EXPECT_EQ(queue.requestCount, 4);
  EXPECT_EQ(summaryLine(queue), "3 keywords · 1 moved · 1 held · 1 not measured");

  const auto& top = queue.pending[0];
  EXPECT_EQ(top.change, TodayChange::dropped(5));
  EXPECT_EQ(top.rank, 9);
  EXPECT_EQ(top.appLabel, "Photo Lab: Editor");
  EXPECT_EQ(top.appStoreId, "100");
  EXPECT_EQ(top.day, today);
  EXPECT_EQ(queue.pending[1].change, TodayChange::accumulating(2));
}

TEST_F(TodayBoardTest, AReviewMarkMovesTheRowAndCanBeTakenBack) {
  TodayBoard board(*store, calendar, clock.wall());
  board.refresh();
  ASSERT_TRUE(board.review(dropping.rowId.value));
  EXPECT_EQ(keywordsOf(board.queue().reviewed), (std::vector<std::string>{"photo editor"}));
  EXPECT_EQ(keywordsOf(board.queue().pending), (std::vector<std::string>{"collage maker"}));
  ASSERT_TRUE(board.queue().undoableMark);
  EXPECT_EQ(board.queue().undoableMark->day, today);
  EXPECT_EQ(board.queue().undoableMark->markedAt, clock.wallNow());

  ASSERT_TRUE(board.review(dropping.rowId.value));  // marking again keeps one mark
  EXPECT_EQ(store->reviewMarks().count(), 1);

  ASSERT_TRUE(board.undo());
  EXPECT_FALSE(board.queue().undoableMark);
  EXPECT_TRUE(board.queue().reviewed.empty());
  EXPECT_EQ(store->reviewMarks().count(), 0);
  EXPECT_FALSE(board.undo());

  ASSERT_TRUE(board.review(steady.rowId.value));  // a held row, once reviewed, is listed as reviewed
  EXPECT_EQ(keywordsOf(board.queue().reviewed), (std::vector<std::string>{"photo filters"}));
  EXPECT_TRUE(board.unreview(steady.rowId.value));
  EXPECT_EQ(keywordsOf(board.queue().held), (std::vector<std::string>{"photo filters"}));
  EXPECT_FALSE(board.queue().undoableMark);  // the mark it named is gone
  EXPECT_FALSE(board.unreview(steady.rowId.value));
  EXPECT_FALSE(board.review(fresh.rowId.value));  // no reading, no row to review
}

TEST_F(TodayBoardTest, AMarkOfAnEarlierDayDoesNotReviewTodaysReading) {
  store::markDayReviewed(*store, dropping.rowId, calendar.addDays(today, -1), clock.wallNow(), calendar);
  TodayBoard board(*store, calendar, clock.wall());
  board.refresh();
  EXPECT_TRUE(board.queue().reviewed.empty());
  // A mark written at another instant of the same calendar day still counts.
  store::markDayReviewed(*store, dropping.rowId, today + 13h, clock.wallNow(), calendar);
  board.refresh();
  EXPECT_EQ(keywordsOf(board.queue().reviewed), (std::vector<std::string>{"photo editor"}));
}

TEST_F(TodayBoardTest, EveryViewHearsEachChangeAfterTheQueueHoldsIt) {
  TodayBoard board(*store, calendar, clock.wall());
  std::vector<std::vector<std::string>> seenByList;
  int seenByBadge = 0;
  const auto list = board.changes().subscribe([&] { seenByList.push_back(keywordsOf(board.queue().reviewed)); });
  const auto badge = board.changes().subscribe([&] { ++seenByBadge; });
  board.refresh();
  ASSERT_TRUE(board.review(dropping.rowId.value));
  EXPECT_FALSE(board.review(fresh.rowId.value));  // nothing changed, nothing told
  ASSERT_TRUE(board.undo());
  EXPECT_EQ(seenByList, (std::vector<std::vector<std::string>>{{}, {"photo editor"}, {}}));
  EXPECT_EQ(seenByBadge, 3);
}

// A row's history is what its sparkline shows: the readings of the last 30 calendar days, today's
// included. The change and the accumulating count still come from the two newest readings and the count.
TEST_F(TodayBoardTest, ARowsHistoryHoldsTheMonthBeforeTheLastRunsDay) {
  const auto app = *store->apps().findByAppStoreId("100");
  const auto month = seed.keyword(app, "long story", "us");
  Ranks ranks;
  for (std::int64_t rank = 1; rank <= 40; ++rank) {
    ranks.push_back(rank);
  }
  ranks[20] = std::nullopt;  // a reading outside the results, inside the 30 days
  seed.readings(month, ranks, today);
  const auto old = seed.keyword(app, "old story", "us");
  seed.readings(old, {9, 9, 9, 9, 9, 9, 6, 4}, calendar.addDays(today, -40));

  TodayBoard board(*store, calendar, clock.wall());
  board.refresh();

  const auto* row = board.row(month.rowId.value);
  ASSERT_TRUE(row);
  const auto& points = row->history.points();
  ASSERT_EQ(points.size(), 32u);
  for (std::size_t i = 0; i < points.size(); ++i) {
    EXPECT_EQ(points[i].day, calendar.addDays(today, static_cast<int>(i) - 31)) << i;
    EXPECT_EQ(points[i].rank, ranks[8 + i]) << i;
  }
  ASSERT_EQ(row->sparkline.size(), 31u);
  EXPECT_EQ(row->sparkline.front(), (DaySlot{DaySlot::Kind::ranked, 10}));
  EXPECT_EQ(row->sparkline[11], (DaySlot{DaySlot::Kind::outside, 0}));
  EXPECT_EQ(row->change, TodayChange::dropped(1));

  const auto* dropped = board.row(dropping.rowId.value);
  ASSERT_TRUE(dropped);
  EXPECT_EQ(dropped->history.readingCount(), 7u);
  EXPECT_EQ(dropped->change, TodayChange::dropped(5));
  const auto* youngRow = board.row(young.rowId.value);
  ASSERT_TRUE(youngRow);
  EXPECT_EQ(youngRow->history.readingCount(), 2u);
  EXPECT_EQ(youngRow->change, TodayChange::accumulating(2));

  const auto* oldRow = board.row(old.rowId.value);
  ASSERT_TRUE(oldRow);
  EXPECT_TRUE(oldRow->history.points().empty()) << "no reading in the month shown";
  EXPECT_EQ(oldRow->rank, 4);
  EXPECT_EQ(oldRow->change, TodayChange::rose(2)) << "the change comes from the two newest readings";
}

}  // namespace
}  // namespace tovra::measure
