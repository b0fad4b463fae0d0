#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/rank_history.h"

namespace tovra::measure {

struct TodayQueue;
struct TodayRow;

// What a row's history holds on one calendar day: no reading, a reading outside the results, or a rank.
struct DaySlot {
  enum class Kind { missing, outside, ranked };
  Kind kind = Kind::missing;
  std::int64_t rank = 0;  // ranked only
  bool operator==(const DaySlot&) const = default;
};

// How a rank moved between the first and the last day of the month shown.
struct MonthChange {
  enum class Kind { missingDay, unranked, moved };
  Kind kind = Kind::missingDay;
  // Places gained (positive) or lost (negative); moved only.
  std::int64_t places = 0;
  bool operator==(const MonthChange&) const = default;
};

inline constexpr int kMonthDays = 30;

// The calendar days a row's sparkline spans: the `count` days that end with the one holding `lastDay`,
// oldest first, each the start of its day.
std::vector<asokit::WallTime> spanDays(const asokit::Calendar& calendar, asokit::WallTime lastDay, int count);

// One slot per day of `days`. A day without a reading stays missing: nothing is drawn between the days
// around it. When a day holds two readings the later one counts, as the store keeps one reading per day.
std::vector<DaySlot> daySlots(const asokit::RankHistory& history, const std::vector<asokit::WallTime>& days);

// The change from the first slot to the last. A missing day at either end leaves it unknown, never
// filled in from the days around it; a reading outside the results at either end has no number to compare.
MonthChange monthChange(const std::vector<DaySlot>& slots);
// "up 3", "down 2", "no change", "not ranked" (outside the results at an end), or an em dash when a day
// is missing.
std::string monthChangeText(const MonthChange& change);

// "#3", or "never ranked" when no kept reading had a rank.
std::string bestRankText(std::optional<std::int64_t> best);

// What the sparkline says to a screen reader: "28 of 31 days read · best #3 · latest #5".
std::string spanSummary(const std::vector<DaySlot>& slots);

// The best rank each keyword ever kept when it was read, by keyword row; none: never ranked.
using BestRanks = std::unordered_map<std::int64_t, std::optional<std::int64_t>>;

// Fills every row's sparkline over `days`, its change across them and, for keywords in `best`, its best
// rank.
void addRowFacts(TodayQueue& queue, const std::vector<asokit::WallTime>& days, const BestRanks& best);
// A row's best rank: the best read earlier, or a better one among the readings it holds since.
void addBestRank(TodayRow& row, const BestRanks& best);

// The words of the today screen.
namespace today_texts {
inline constexpr std::string_view kPending = "pending";
inline constexpr std::string_view kReviewed = "reviewed";
inline constexpr std::string_view kHeld = "held";
inline constexpr std::string_view kNotMeasured = "not measured in the last run";
inline constexpr std::string_view kMarkReviewed = "Mark reviewed";
inline constexpr std::string_view kUndoReview = "Undo review";
inline constexpr std::string_view kNothingTracked = "No app has a keyword yet: add an app and its keywords on Apps.";
inline constexpr std::string_view kListName = "Today's keywords";
// The columns, in the order the screen shows them.
inline constexpr std::string_view kColumns[] = {"App",     "Keyword", "Country", "Rank",    "Change",
                                                "History", "Best",    "30 days", "Measured"};
// A group heading with its count: "pending (3)".
std::string groupHeading(std::string_view group, std::size_t count);
}  // namespace today_texts

}  // namespace tovra::measure
