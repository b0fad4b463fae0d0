#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "AsoKit/clock.h"
#include "AsoKit/rank_history.h"
#include "app/measure/run_report.h"
#include "app/measure/today_queue.h"

// The JSON forms of the measurement values that the measurement commands (measure, today, history) print.
namespace tovra::cli {

nlohmann::json toJson(const measure::RunReport& report);
nlohmann::json toJson(const measure::TodayChange& change);
nlohmann::json toJson(const measure::TodayQueue& queue);
nlohmann::json toJson(const asokit::RankPoint& point);

}  // namespace tovra::cli
