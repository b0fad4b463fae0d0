#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "AsoKit/clock.h"
#include "AsoKit/rank_history.h"
#include "app/measure/run_report.h"
#include "app/measure/today_queue.h"
#include "app/shell/zoned_calendar.h"

// What the measurement commands (measure, today, history) share: the user's calendar, local times and
// the JSON forms of the measurement values.
namespace tovra::cli {

// "2025-01-14 09:30" and "2025-01-14" in the calendar's zone.
std::string localMinute(const shell::ZonedCalendar& calendar, asokit::WallTime time);
std::string localDate(const shell::ZonedCalendar& calendar, asokit::WallTime time);

nlohmann::json toJson(const measure::RunReport& report);
nlohmann::json toJson(const measure::TodayChange& change);
nlohmann::json toJson(const measure::TodayQueue& queue);
nlohmann::json toJson(const asokit::RankPoint& point);

}  // namespace tovra::cli
