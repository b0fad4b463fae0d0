#include <gtest/gtest.h>

#include "AsoKit/rank_history.h"

namespace asokit {
namespace {

using namespace std::chrono_literals;

// Days of exactly 24 hours in UTC: enough for the series logic; real zones are tested with the
// calendar itself.
class UtcCalendar final : public Calendar {
 public:
  WallTime startOfDay(WallTime moment) const override { return std::chrono::floor<std::chrono::days>(moment); }
  WallTime addDays(WallTime moment, int days) const override { return startOfDay(moment) + std::chrono::days{days}; }
};

WallTime day(int n, std::chrono::hours at = 9h) {
  return WallTime{std::chrono::days{20000 + n} + at};
}

TEST(RankHistory, ChangeComesFromTheLastTwoPoints) {
  EXPECT_EQ(RankHistory({{day(1), 12}, {day(2), 9}}).change(), 3);
  EXPECT_EQ(RankHistory({{day(2), 9}, {day(1), 12}}).change(), 3);  // sorted by day
  EXPECT_EQ(RankHistory({{day(1), 9}, {day(2), std::nullopt}}).change(), std::nullopt);
  EXPECT_EQ(RankHistory({{day(1), 9}}).change(), std::nullopt);
  EXPECT_EQ(RankHistory({{day(1), 4}, {day(2), 9}}).change(), -5);
}

TEST(RankHistory, DayRunsBreakAtGapsAndSameDayRepeats) {
  const UtcCalendar calendar;
  const auto runs = RankHistory({{day(1), 1}, {day(2), 2}, {day(4), 3}}).dayRuns(calendar);
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[0].size(), 2u);
  EXPECT_EQ(runs[1].front().rank, 3);

  const auto repeat = RankHistory({{day(1, 8h), 1}, {day(1, 20h), 2}, {day(2), 3}}).dayRuns(calendar);
  ASSERT_EQ(repeat.size(), 2u);
  EXPECT_EQ(repeat[0], (std::vector<RankPoint>{{day(1, 8h), 1}}));
  EXPECT_EQ(repeat[1].size(), 2u);
  EXPECT_TRUE(RankHistory().dayRuns(calendar).empty());
}

TEST(LadderRetention, DeletesAllButTheNewestKeep) {
  std::vector<WallTime> dates;
  for (int i = 0; i < 31; ++i) {
    dates.push_back(day(i == 7 ? -5 : i));  // position 7 holds the oldest
  }
  EXPECT_EQ(ladder_retention::indicesToDelete(dates, 30), (std::vector<std::size_t>{7}));
  dates.pop_back();
  EXPECT_TRUE(ladder_retention::indicesToDelete(dates, 30).empty());
  EXPECT_EQ(ladder_retention::indicesToDelete({day(1), day(3), day(2)}, 0), (std::vector<std::size_t>{1, 2, 0}));
  // Equal dates keep their list order.
  EXPECT_EQ(ladder_retention::indicesToDelete({day(1), day(1), day(1)}, 1), (std::vector<std::size_t>{1, 2}));
}

}  // namespace
}  // namespace asokit
