#include "app/measure/keyword_history.h"

#include <gtest/gtest.h>

#include "app/base/zoned_calendar.h"
#include "measure/seed.h"

namespace tovra::measure {
namespace {

using testing::localTime;

class KeywordHistoryTest : public ::testing::Test {
 protected:
  KeywordHistoryTest() {
    app = seed.app("100", "Lumen");
    seed.localization(app, "us", "Lumen Photo");
    query = seed.keyword(app, "photo editor", "us");
  }

  std::unique_ptr<store::Store> store = store::Store::inMemory();
  testing::Seed seed{*store};
  store::TrackedApp app;
  store::TrackedQuery query;
  const base::ZonedCalendar berlin{"Europe/Berlin"};
  const store::LocalTimeFormat berlinTime{"Europe/Berlin"};
};

TEST_F(KeywordHistoryTest, AGapBreaksTheDayRunsAndTheHeadlineCountsEveryReading) {
  seed.readings(query, {9}, localTime("Europe/Berlin", 2025, 1, 10));
  seed.readings(query, {5, std::nullopt}, localTime("Europe/Berlin", 2025, 1, 14));
  const auto series = keywordHistory(*store, app, query, berlin);

  ASSERT_EQ(series.readings.size(), 3u);
  EXPECT_EQ(series.readings[0].day, localTime("Europe/Berlin", 2025, 1, 10)) << "the day's start in the calendar";
  EXPECT_EQ(series.readings[2].observation.rank, std::nullopt) << "outside the results stays no rank";
  EXPECT_EQ(series.history.readingCount(), 3u);
  EXPECT_EQ(historyHeadline(series), "Lumen Photo · photo editor · US · 3 readings · accumulating · 3 of 7 readings");
  EXPECT_EQ(dayRunsLine(series, berlinTime), "Day runs: 2025-01-10 (1 day) · 2025-01-13 – 2025-01-14 (2 days)");
}

TEST_F(KeywordHistoryTest, SevenReadingsGiveTheTodayChange) {
  seed.readings(query, {9, 9, 9, 9, 9, 4, 6}, localTime("Europe/Berlin", 2025, 3, 31));
  const auto series = keywordHistory(*store, app, query, berlin);
  EXPECT_EQ(historyHeadline(series), "Lumen Photo · photo editor · US · 7 readings · dropped 2");
  // The clocks changed on 30 March: the 23-hour day does not split the run.
  EXPECT_EQ(dayRunsLine(series, berlinTime), "Day runs: 2025-03-25 – 2025-03-31 (7 days)");
}

TEST_F(KeywordHistoryTest, AKeywordWithoutReadingsSaysSo) {
  const auto series = keywordHistory(*store, app, query, berlin);
  EXPECT_TRUE(series.readings.empty());
  EXPECT_EQ(historyHeadline(series), "Lumen Photo · photo editor · US · 0 readings · accumulating · 0 of 7 readings");
}

TEST(LastRunLine, TellsTheRunInLocalTimeWithItsCountsAndAHalt) {
  const store::LocalTimeFormat berlin("Europe/Berlin");
  TodayQueue queue;
  EXPECT_EQ(lastRunLine(queue, berlin), "No run has finished yet.");
  queue.finishedAt = localTime("Europe/Berlin", 2025, 1, 14, 9, 30, 59);
  queue.queryCount = 1;
  queue.requestCount = 1;
  EXPECT_EQ(lastRunLine(queue, berlin), "Last run 2025-01-14 09:30 · 1 keyword · 1 request");
  queue.queryCount = 12;
  queue.requestCount = 9;
  queue.halted = true;
  EXPECT_EQ(lastRunLine(queue, berlin), "Last run 2025-01-14 09:30 · 12 keywords · 9 requests · halted");
  EXPECT_EQ(lastRunLine(queue, store::LocalTimeFormat("UTC")),
            "Last run 2025-01-14 08:30 · 12 keywords · 9 requests · halted");
}

}  // namespace
}  // namespace tovra::measure
