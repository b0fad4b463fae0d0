#include <gtest/gtest.h>

#include "app/base/zoned_calendar.h"
#include "app/measure/measure_texts.h"
#include "measure/seed.h"

namespace tovra::measure {
namespace {

using namespace std::chrono_literals;
using testing::localTime;

TEST(MeasureTexts, CountdownsUseUncappedMinutesAndTwoDigitSeconds) {
  struct Case {
    std::int64_t seconds;
    std::string shown;
  };
  for (const auto& c : std::vector<Case>{
           {900, "15:00"}, {75, "1:15"}, {5, "0:05"}, {60, "1:00"}, {59, "0:59"}, {3600, "60:00"}, {6001, "100:01"}}) {
    EXPECT_EQ(texts::countdown(c.seconds), c.shown) << c.seconds;
  }
  EXPECT_EQ(texts::cooldownShort(75), "Apple paused requests · retry in 1:15");
  EXPECT_EQ(texts::cooldownLong(900),
            "Apple returned HTTP 403 and the guard stopped the last run. The block is per-IP; Tovra waits 15:00 before "
            "asking again.");
}

TEST(MeasureTexts, NotFoundIsSingularForExactlyOneResultAndNeverCountsZero) {
  EXPECT_EQ(texts::notFound(1), "Not among the 1 result the store returned for this phrase");
  EXPECT_EQ(texts::notFound(0), "No results — the App Store returned nothing for this term");
  EXPECT_EQ(texts::notFound(2), "Not among the 2 results the store returned for this phrase");
  EXPECT_EQ(texts::notFound(1000), "Not among the 1000 results the store returned for this phrase");
}

TEST(MeasureTexts, PlanPiecesAndCounts) {
  EXPECT_EQ(texts::planSummary(4, 2),
            "4 tracked keywords · 2 requests to Apple — a keyword watched by several apps is asked once");
  EXPECT_EQ(texts::keywordCount(1), "1 keyword · a keyword watched by several apps is asked once");
  EXPECT_EQ(texts::keywordCount(0), "0 keywords · a keyword watched by several apps is asked once");
  EXPECT_EQ(texts::keywordCount(12), "12 keywords · a keyword watched by several apps is asked once");
  EXPECT_EQ(texts::pacingNote(20), "requests go 1.2 s apart · at least 23 s · a 403 back-off can make it longer");
  EXPECT_EQ(texts::pacingNote(6), "requests go 1.2 s apart · at least 6 s · a 403 back-off can make it longer");
  EXPECT_EQ(texts::pacingNote(1), "requests go 1.2 s apart · at least 0 s · a 403 back-off can make it longer");
  EXPECT_EQ(texts::sourceLine("appstore"), "source of these numbers: appstore");
  EXPECT_EQ(texts::progressLine({3, {"us", "photo editor"}, true}, 9), "request 3 of 9 · photo editor · US · ok");
  EXPECT_EQ(texts::progressLine({1, {"de", "foto"}, false}, 1), "request 1 of 1 · foto · DE · failed");
}

TEST(MeasureTexts, TheLiveLineNamesTheSearchBeingAsked) {
  struct Case {
    const char* name;
    std::int64_t completed;
    bool stopping;
    std::string line;
  };
  const std::vector<Case> cases = {
      {"the first search", 0, false, "request 0 of 2 · photo editor · US"},
      {"the last search", 1, false, "request 1 of 2 · foto · DE"},
      {"every search answered", 2, false, "request 2 of 2"},
      {"stop asked", 1, true,
       "request 1 of 2 · foto · DE\nstopping after the current keyword · everything measured "
       "so far is kept"},
  };
  for (const auto& c : cases) {
    LiveRun live;
    live.plan = {{"us", "photo editor"}, {"de", "foto"}};
    live.completedRequests = c.completed;
    live.stopRequested = c.stopping;
    EXPECT_EQ(texts::liveLine(live), c.line) << c.name;
  }
}

TEST(MeasureTexts, LastMeasuredFloorsHoursThenCountsCalendarDays) {
  const base::ZonedCalendar berlin("Europe/Berlin");
  const auto last = localTime("Europe/Berlin", 2025, 1, 14, 9, 30);
  struct Case {
    std::chrono::seconds ago;
    std::string text;
  };
  for (const auto& c : std::vector<Case>{{30min, "Last measured 1 hour ago."},
                                         {0s, "Last measured 1 hour ago."},
                                         {1h + 59min, "Last measured 1 hour ago."},
                                         {2h, "Last measured 2 hours ago."},
                                         {47h + 59min, "Last measured 47 hours ago."},
                                         {48h, "Last measured 2 days ago."},
                                         {71h + 59min, "Last measured 2 days ago."},
                                         {72h, "Last measured 3 days ago."}}) {
    EXPECT_EQ(texts::lastMeasured(last, last + c.ago, berlin), c.text) << c.ago.count();
  }
}

TEST(MeasureTexts, LastMeasuredDaysAreCalendarDaysAcrossAShortDay) {
  // Saturday 09:30 to Monday 08:45 across the 23-hour day of 2024-03-31 is 46 h 15 min: still hours.
  const base::ZonedCalendar berlin("Europe/Berlin");
  const auto saturday = localTime("Europe/Berlin", 2024, 3, 30, 9, 30);
  EXPECT_EQ(texts::lastMeasured(saturday, localTime("Europe/Berlin", 2024, 4, 1, 8, 45), berlin),
            "Last measured 46 hours ago.");
  // Saturday 09:30 to Monday 09:30 is two calendar days though only 47 hours passed...
  EXPECT_EQ(texts::lastMeasured(saturday, localTime("Europe/Berlin", 2024, 4, 1, 9, 30), berlin),
            "Last measured 47 hours ago.");
  // ...and at 10:30, 48 hours, it is told in days.
  EXPECT_EQ(texts::lastMeasured(saturday, localTime("Europe/Berlin", 2024, 4, 1, 10, 30), berlin),
            "Last measured 2 days ago.");
  // Across the 25-hour day of 2024-10-27, 48 hours end before the second calendar day is complete.
  const auto autumn = localTime("Europe/Berlin", 2024, 10, 26, 9, 30);
  EXPECT_EQ(texts::lastMeasured(autumn, autumn + 48h, berlin), "Last measured 1 days ago.");
}

// Whole days are the calendar's: the local dates apart, one less when the clock reads earlier than it did
// at the last run. Elapsed time added to a midnight would be an hour off on the days the clocks move.
TEST(MeasureTexts, LastMeasuredDaysAreTheCalendarsAroundDaylightSavingChanges) {
  const base::ZonedCalendar newYork("America/New_York");
  struct Case {
    const char* name;
    int fromMonth, fromDay;
    int toMonth, toDay, toHour, toMinute;
    std::string text;
  };
  // Every run finished at 10:00 local time in 2024; the clocks moved on 10 March and 3 November.
  for (const auto& c : std::vector<Case>{
           {"from the short day, earlier clock", 3, 10, 3, 13, 9, 30, "Last measured 2 days ago."},
           {"from the short day, same clock", 3, 10, 3, 13, 10, 0, "Last measured 3 days ago."},
           {"to the short day, later clock", 3, 7, 3, 10, 10, 30, "Last measured 3 days ago."},
           {"from the long day, later clock", 11, 3, 11, 6, 10, 30, "Last measured 3 days ago."},
           {"from the long day, earlier clock", 11, 3, 11, 6, 9, 59, "Last measured 2 days ago."},
           {"to the long day, earlier clock", 10, 31, 11, 3, 9, 30, "Last measured 2 days ago."},
       }) {
    const auto from = localTime("America/New_York", 2024, c.fromMonth, c.fromDay, 10, 0);
    const auto to = localTime("America/New_York", 2024, c.toMonth, c.toDay, c.toHour, c.toMinute);
    EXPECT_EQ(texts::lastMeasured(from, to, newYork), c.text) << c.name;
  }
}

}  // namespace
}  // namespace tovra::measure
