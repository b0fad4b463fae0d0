#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/rank_history.h"
#include "app/measure/today_facts.h"
#include "app/store/local_time.h"
#include "app/store/records.h"
#include "app/store/today_reads.h"

namespace tovra::measure {

// How a row's rank moved since the previous reading.
struct TodayChange {
  enum class Kind { dropped, rose, accumulating, held, unknownChange };
  Kind kind = Kind::unknownChange;
  // Places lost (dropped) or gained (rose), always positive; readings so far (accumulating); else 0.
  std::int64_t amount = 0;

  static TodayChange dropped(std::int64_t places) { return {Kind::dropped, places}; }
  static TodayChange rose(std::int64_t places) { return {Kind::rose, places}; }
  static TodayChange accumulating(std::int64_t days) { return {Kind::accumulating, days}; }
  static TodayChange held() { return {Kind::held, 0}; }
  static TodayChange unknown() { return {Kind::unknownChange, 0}; }
  bool operator==(const TodayChange&) const = default;
};

// Fewer than this many readings claim no change yet, even when two ranks exist.
inline constexpr std::size_t kReadingsBeforeChange = 7;
// A row's sparkline spans this many calendar days ending with the newest reading's day: a month back and
// that day, so the change over 30 days has both its ends. Its history holds the readings from one day more
// before the last run's day. The whole series is one history read away, so the queue stays fast on a
// store of years.
inline constexpr int kHistoryDays = kMonthDays + 1;

// The change a history shows: accumulating under seven readings; otherwise from the last two ranks,
// unknown when either is absent.
TodayChange changeOf(const asokit::RankHistory& history);
// The same from the newest readings alone and the count of all of them (counted up to seven at least).
TodayChange changeOf(const asokit::RankHistory& latest, std::int64_t readingCount);
std::string_view changeKindName(TodayChange::Kind kind);
// "dropped 5", "rose 3", "held", "change unknown", "accumulating · 2 of 7 readings"
std::string changeText(const TodayChange& change);
// "3", or "not in the top 200": an absent rank is a reading outside the results, never unknown.
std::string rankText(std::optional<std::int64_t> rank, std::int64_t resultCount);

// One tracked keyword of an app with its latest reading.
struct TodayRow {
  std::int64_t id = 0;  // the keyword's row in the store
  store::TrackedQuery query;
  std::string keyword;
  std::string country;
  std::string appStoreId;
  std::string appLabel;
  std::optional<std::string> iconURL;
  std::optional<std::int64_t> rank;  // of the latest reading; absent: outside the returned results
  std::int64_t resultCount = 0;
  std::string source;
  asokit::WallTime measuredAt;
  asokit::WallTime day;  // the latest reading's day: the day a review mark is about
  // The readings of the last kHistoryDays calendar days; `tovra history` reads the whole series. The
  // change does not rest on it: it comes from the two newest readings, whatever their days.
  asokit::RankHistory history;
  std::int64_t readingCount = 0;  // all the keyword's readings, counted up to kReadingsBeforeChange
  TodayChange change;
  bool isReviewed = false;
  // The history laid over the days the screen shows, the change across them, and the best rank the store
  // ever kept for the keyword (none: never ranked), once read; filled by addRowFacts and addBestRank.
  std::vector<DaySlot> sparkline;
  MonthChange monthChange;
  std::optional<std::int64_t> bestRank;
  bool bestRankRead = false;
};

// A keyword the last run could not measure, and why.
struct NotMeasuredRow {
  std::int64_t id = 0;
  std::string keyword;
  std::string country;
  std::string appStoreId;
  std::string appLabel;
  store::RunOutcomeStatus status = store::RunOutcomeStatus::skipped;
  std::string reason;
};

// A keyword without a row: never read yet (added or resumed after the last run), or paused.
struct WaitingRow {
  std::int64_t id = 0;
  store::TrackedQuery query;
  std::string keyword;
  std::string country;
  std::string appStoreId;
  std::string appLabel;
};

inline constexpr std::string_view kNotMeasuredYet = "not measured yet";
inline constexpr std::string_view kPaused = "paused";

struct TodayQueue {
  std::optional<asokit::WallTime> day;         // the last run's day
  std::optional<asokit::WallTime> finishedAt;  // when the last run finished
  bool halted = false;
  std::int64_t queryCount = 0;
  std::int64_t requestCount = 0;
  std::vector<TodayRow> pending;
  std::vector<TodayRow> reviewed;
  std::vector<TodayRow> held;
  std::vector<NotMeasuredRow> notMeasured;
  std::vector<WaitingRow> notMeasuredYet;
  std::vector<WaitingRow> paused;
  std::optional<store::ReviewMark> undoableMark;  // the mark the user can still take back
  std::vector<asokit::WallTime> days;             // the days each row's slots stand for, oldest first
};

// Sorts rows: dropped, rose, change unknown, accumulating, held; larger moves first, fewer accumulating
// days first; then rank ascending with no rank last; then keyword and country by code points. Stable.
void sortRows(std::vector<TodayRow>& rows);

// The reason a keyword was not measured: the outcome's message, else words for its status.
std::string notMeasuredReason(store::RunOutcomeStatus status, const std::optional<std::string>& message);

// "12 keywords · 3 moved · 1 change unknown · 7 held · 2 not measured"
std::string summaryLine(const TodayQueue& queue);
// "Last run 2025-01-14 09:30 · 12 keywords · 9 requests", with " · halted" after a halt, the time in the
// user's zone; "No run has finished yet." before the first run.
std::string lastRunLine(const TodayQueue& queue, const store::LocalTimeFormat& localTime);

// Builds the queue from a snapshot, taking its texts over; `undoableMark` is kept while the store still
// holds it.
TodayQueue buildTodayQueue(store::TodaySnapshot snapshot, const asokit::Calendar& calendar,
                           std::optional<store::ReviewMark> undoableMark = std::nullopt);

}  // namespace tovra::measure
