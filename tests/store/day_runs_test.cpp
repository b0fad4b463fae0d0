// A keyword's stored days split into runs of consecutive days in the user's own calendar, so a chart
// breaks its line exactly where a day is missing — also on days of 23 or 25 hours and on days whose
// midnight never happened.

#include <gtest/gtest.h>

#include "AsoKit/rank_history.h"
#include "app/base/zoned_calendar.h"
#include "fixtures.h"

namespace tovra::store {
namespace {

using testing::utc;

struct DayRunCase {
  const char* name;
  const char* zone;
  std::vector<asokit::WallTime> readings;  // in UTC
  std::vector<std::size_t> runSizes;
};

class DayRunsInAZone : public ::testing::TestWithParam<DayRunCase> {};

TEST_P(DayRunsInAZone, FollowTheLocalCalendar) {
  const base::ZonedCalendar calendar(GetParam().zone);
  std::vector<asokit::RankPoint> points;
  for (const auto reading : GetParam().readings) {
    points.push_back({reading, 1});
  }
  std::vector<std::size_t> sizes;
  for (const auto& run : asokit::RankHistory(points).dayRuns(calendar)) {
    sizes.push_back(run.size());
  }
  EXPECT_EQ(sizes, GetParam().runSizes);
}

INSTANTIATE_TEST_SUITE_P(
    Zones, DayRunsInAZone,
    ::testing::Values(
        // 26 October 2025 lasts 25 hours in Berlin: 23:30 on it and 00:30 the next day are neighbours,
        // which a day of 86,400 s would not see.
        DayRunCase{"BerlinLongDay",
                   "Europe/Berlin",
                   {utc(2025, 10, 25, 10), utc(2025, 10, 26, 22, 30), utc(2025, 10, 26, 23, 30)},
                   {3}},
        // 30 March 2025 lasts 23 hours; the reading after it comes a day later.
        DayRunCase{"BerlinShortDay",
                   "Europe/Berlin",
                   {utc(2025, 3, 29, 22, 30), utc(2025, 3, 30, 21, 30), utc(2025, 3, 31, 22, 30)},
                   {2, 1}},
        // Santiago skipped from 00:00 to 01:00 on 3 September 2023: that day began at 01:00.
        DayRunCase{"SantiagoMissingMidnight",
                   "America/Santiago",
                   {utc(2023, 9, 3, 3, 30), utc(2023, 9, 3, 4, 0), utc(2023, 9, 4, 2, 59), utc(2023, 9, 5, 3)},
                   {2, 1, 1}},
        DayRunCase{"SaoPauloMissingMidnight",
                   "America/Sao_Paulo",
                   {utc(2018, 11, 3, 12), utc(2018, 11, 4, 3), utc(2018, 11, 5, 1, 59), utc(2018, 11, 6, 12)},
                   {2, 1, 1}},
        // Local days, not UTC ones: an hour apart across Tokyo's midnight is two days in a row, and 23
        // hours apart within one Tokyo day is a repeat.
        DayRunCase{"TokyoAcrossMidnight", "Asia/Tokyo", {utc(2025, 1, 14, 14, 30), utc(2025, 1, 14, 15, 30)}, {2}},
        DayRunCase{"TokyoSameDay", "Asia/Tokyo", {utc(2025, 1, 13, 15, 30), utc(2025, 1, 14, 14, 30)}, {1, 1}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovra::store
